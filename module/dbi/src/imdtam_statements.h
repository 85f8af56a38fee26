// The parse slots of the access object: they hand the grammar to the host's engine and keep the options it found.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// The command lines of import and export need no parsing of their own: 0.
int32_t prsicmd(IMGLUE *self, PRSINFO *prsinfo);
int32_t prsecmd(IMGLUE *self, PRSINFO *prsinfo);

// prsiprc: parse the statements pending for an import and keep the library and catalog of user formats. A statement
// for informats or formats, which an import has no use for, is named in the log.
//
// 0
// HOST_LOGGED  the parse failed and the engine said why; the options are unchanged.
int32_t prsiprc(IMGLUE *self, PRSINFO *prsinfo);

// prseprc: parse the statements pending for an export and keep the library and catalog of user formats; write_labels
// follows outmode. Always 0: after a failed parse, which the engine has logged, the options it found still count.
int32_t prseprc(IMGLUE *self, PRSINFO *prsinfo);
