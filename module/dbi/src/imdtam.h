// The access object: its constructor, and the slots for names and for statements.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// vorimdta: make an access object and fill its operation slots.
//
// ppimglue  points to null for a new record from the task's pool, or to a zeroed record of the host's, which stays the
//           host's. mcn_main must have been called.
// 0, HOST_NO_OBJECT for a null ppimglue, HOST_NO_MEMORY, HOST_LOGGED when DBE_NAME names an encoding that the host
// does not know, or what loading the base class gave. After a failure no slot of this class is filled; the record, if
// one was made, is in *ppimglue, and what hangs on it lives as long as the pool.
extern "C" [[gnu::visibility("default")]] int32_t vorimdta(IMGLUE **ppimglue);

// File names of the access object: the set_fname slot, and names taken apart and put together.

// s_fname (slot set_fname): resolve the user's name, a path or a file reference, into filename and filenamelen.
//
// fname, len  the name and its length in bytes; negative: the name is terminated. At most 1024 bytes count.
// outmode must be set. A name of up to 8 bytes that the host knows as a file reference sets isfref; for an import that
// is all, and filename keeps it. A path becomes the host's physical name, with the driver's extension added unless it
// has it in any letter case.
// 0, HOST_NAME_TOO_LONG, HOST_NO_NAME (also without a session), HOST_NAME_BLANK, HOST_NAME_WILDCARD,
// HOST_NAME_NO_EXTENSION (an export to a file reference: logname is assigned to a temporary file, and open may
// follow), or the host's own code. After a failure nothing that this call assigned for a path stays assigned.
int32_t s_fname(IMGLUE *self, const char *fname, int32_t len);

// fnsplit: split a name of at most 1024 bytes into directory (with its separator), name and extension (without the
// dot). Both '/' and '\' separate. Each output is IMGLUE_NAME_BYTES + 1 bytes, is terminated, and may be null.
// Returns 0.
int32_t fnsplit(const char *fpn, char *dir, char *fname, char *ext);

// fnbuild: the inverse. len is the name's length, -1 when it is terminated; its trailing blanks do not count. An empty
// directory gives a name without a leading '/'.
//
// fpn  IMGLUE_NAME_BYTES + 1 bytes, terminated; untouched on failure.
// 0, or -1 when the parts and three more bytes would exceed 1024.
int32_t fnbuild(char *fpn, const char *dir, const char *fname, const char *ext, int32_t len);

// mivex_get_default_extension: the driver's default extension, terminated.
const char *mivex_get_default_extension(IMGLUE *self);

// The parse slots of the access object: they hand the grammar to the host's engine and keep the options it found.

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
