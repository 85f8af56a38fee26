// The operations of the extension on batches.
#pragma once

#include "vor/extension.h"
#include "vor/imglue.h"

// As the extension describes them.
int32_t getcolumns(IMGLUE *self, vor_batch *batch);
int32_t putcolumns(IMGLUE *self, vor_batch *batch);
