// Buffered file access: plain byte-stream operations over host file handles, and whole-file copies for file references.
//
// Positions count from 0 here; the host counts from 1. Nothing asks the host for more than FILE_PIECE_BYTES at a time.
// mivex_hgets and mivex_copy_file are for drivers of other files; no path from a Stata file reaches them.
#pragma once

#include "driver_records.h"

#include <cstdint>

// The largest transfer, and the record length with which files are opened.
inline constexpr int32_t FILE_PIECE_BYTES = 64000;

// mivex_read_opt: read `len` bytes, in requests of at most FILE_PIECE_BYTES, without an intermediate buffer.
//
// storeptr  `len` bytes; after a failure holds the pieces that arrived before it.
// flags     bit 1: the read status 0x801 is accepted as success.
// The bytes read, fewer than `len` only at the end of the file; 0 for a len of 0 or less, without asking the host;
// ERROR_READ.
int64_t mivex_read_opt(WX_FILE *fileptr, void *storeptr, int64_t len, uint32_t flags);

// mivex_read: mivex_read_opt with flags 0.
int64_t mivex_read(WX_FILE *fileptr, void *storeptr, int64_t len);

// mivex_write: write `len` bytes, in pieces of at most FILE_PIECE_BYTES. `len` (also when it is 0 or less), or
// ERROR_WRITE; pieces written before a failure stay written.
int64_t mivex_write(WX_FILE *fileptr, const void *storeptr, int64_t len);

// mivex_lseek_double: move to a byte position.
//
// whence  0 from the start, 1 from the current position, 2 from the end.
// The new position, or -4.0.
double mivex_lseek_double(WX_FILE *fileptr, double byte_pos, int32_t whence);

// mivex_lseek: mivex_lseek_double with integers; -4 on failure.
int64_t mivex_lseek(WX_FILE *fileptr, int64_t byte_pos, int32_t whence);

// mivex_hgets: read one text line of at most `len` - 1 bytes, ended by a line feed whatever the file's line end is.
// The line end is read with the line; a line that fills the buffer leaves the rest to the next call.
// `storeptr`, terminated, or null at the end of the file (or a failed read) with nothing read.
char *mivex_hgets(char *storeptr, int32_t len, WX_FILE *fileptr);

// mivex_copy_file: copy from outfd's current position to its end, to auxfd's current position. 1 when at least one
// byte was read, else 0. A failure on either side shows nowhere in the result.
int32_t mivex_copy_file(WX_FILE *outfd, WX_FILE *auxfd);

// reset_datalen: the driver announces its largest transfer. 0: any length is accepted.
status reset_datalen(IMGLUE *self, int32_t which, int64_t new_length);

// setup_xxopenparm: fill an open request; do_input 1 input, 0 output, 2 the final copy to a file reference.
void setup_xxopenparm(int32_t do_input, WX_OPENPARM *xxopenparmptr, int32_t datalen);

// asg_lname: assign logname to the file name again. 0 (at once for a file reference) or the host's code.
int32_t asg_lname(IMGLUE *self);

// copy_fileref_to_temp: put the referenced file into a temporary copy and make that the main file, at byte 0.
//
// The referenced file must be open in fileptr; it is closed. copy_filename is the copy's physical name, a session
// allocation; fileref_exists tells whether there was anything to copy.
// 0, ERROR_MEMORY, ERROR_TEMP_ASSIGN (no temporary file), ERROR_TEMP_OPEN (its name is not known) or the ERROR_READ,
// ERROR_WRITE or ERROR_SEEK of an incomplete copy. After a failure the clean-up releases what there is of the copy.
status copy_fileref_to_temp(IMGLUE *self);

// copy_temp_to_fileref: copy the finished temporary file to the reference that the user named, close and delete it.
// 0, ERROR_TEMP_ASSIGN when the reference cannot be opened, or the ERROR_READ, ERROR_WRITE or ERROR_SEEK of an
// incomplete copy; after a failure the temporary file is still open.
status copy_temp_to_fileref(IMGLUE *self);
