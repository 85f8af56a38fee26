// What a session knows of the extension that its host hung on the object: whether the block can be read, and which of
// its wishes are fulfilled.
#pragma once

#include "vor/extension.h"
#include "vor/imglue.h"

// accept_extension: look at the block before anything is opened, and grant its wishes. 0, or HOST_LOGGED for a block
// that cannot be read, which a line in the log says.
int32_t accept_extension(IMGLUE *self);

// Whether the host's wish is fulfilled in this session.
bool is_granted(const IMGLUE *self, vor_wish wish);

// Puts an import's or an export's operation on batches into the block, when it has room for it and the host has the
// wishes that it needs.
void give_operations(IMGLUE *self, vor_batch_operation get_columns, vor_batch_operation put_columns);

// An export's facts; null when the host gave none.
const vor_file_facts *facts_to_write(const IMGLUE *self);

// An import's facts, which the host may read from now on; null at the end of the session.
void give_facts(IMGLUE *self, const vor_file_facts *facts);
