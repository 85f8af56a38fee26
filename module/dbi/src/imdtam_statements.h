// The parse slots of the access object: they hand the grammar to the host's engine and keep the options it found.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

int32_t prsicmd(IMGLUE *self, PRSINFO *prsinfo); // 0
int32_t prsecmd(IMGLUE *self, PRSINFO *prsinfo); // 0

// prsiprc: parse the statements of an import. 0, or HOST_LOGGED when the parse failed.
int32_t prsiprc(IMGLUE *self, PRSINFO *prsinfo);

// prseprc: parse the statements of an export; write_labels follows outmode whatever the parse gave. 0.
int32_t prseprc(IMGLUE *self, PRSINFO *prsinfo);
