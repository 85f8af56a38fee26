// The conversion session: its set-up when the file is open, and its end.
#pragma once

#include "driver_records.h"

#include <cstdint>

// setup_self: prepare an opened session for its direction.
//
// dbpath, dbname, dbtype  directory (may be empty), name and extension of the physical name, terminated.
// fileptr must be open and do_input set. Makes inptr, dbsinfoptr and, for an export, outptr; an import from a file
// reference moves to a temporary copy of it.
// 0, ERROR_MEMORY, ERROR_TEMP_OPEN or ERROR_TEMP_ASSIGN. What was allocated stays with the session.
status setup_self(IMGLUE *self, const char *dbpath, const char *dbname, const char *dbtype);

// open_scratch_file: open the session's scratch file, temp_fileptr, for writing and reading; the clean-up deletes it.
//
// name  terminated; null: a file in the host's temporary area.
// 0, ERROR_TEMP_ASSIGN or ERROR_TEMP_OPEN.
status open_scratch_file(IMGLUE *self, const char *name);

// Whether a logical name stands for anything: it is neither blank nor zero.
inline bool names_a_file(const char *logname) {
    return logname[0] != ' ' && logname[0] != 0;
}

// update_inforec: give an information record of an older layout version the defaults of every later field. A record of
// version 0, 11 or 12, or of the current version, stays as it is.
void update_inforec(indbsinfo *dbsinfoptr);

// mivex_finish_output: complete the export: the driver's finish, the copy to a file reference, the closing note.
//
// 0, also when no file is open; the code that the session recorded before; the driver's code or the copy's;
// ERROR_WRITE when the host could not write what it had buffered.
status mivex_finish_output(IMGLUE *self);

// mivex_clean_up: release everything of the session; a failed export's file is deleted. May be called again. Returns 0.
//
// haderror, filename, the operation slots and the options stay; every pointer to session memory becomes null.
int32_t mivex_clean_up(IMGLUE *self);
