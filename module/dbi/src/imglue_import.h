// Import: the input variables become the host's variable descriptions, and the host observation gets its layout.
//
// Values follow each other in the order of the variables: 8 bytes of a number; the text of a fixed-length character
// variable; for a varying-length one, from a multiple of 8 on, an 8-byte pointer to the text, a 4-byte length and the
// text area.
#pragma once

#include "driver_records.h"
#include "imglue_names.h"
#include "vor/extension.h"
#include "vor/imglue.h"

#include <cstdint>

// mivex_read_header: have the driver read the header, then describe every variable to the host.
// The driver's code, or what mivex_variables_to_namestrs returns.
status mivex_read_header(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);

// mivex_variables_to_namestrs: the chain of input variables becomes a list of NAMESTRs, and obslen is fixed.
//
// numvars, namelisthead  out: their number and the list (null without variables); the session owns the list.
// 0, ERROR_MEMORY, or ERROR_NO_TRANSCODING when a pipeline exists and the driver does not support encodings.
// Logs names that had to change. Gives every variable its nmptr and transcode_length, and labelled ones a user format.
status mivex_variables_to_namestrs(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);

// Gives the variable's description at np its formats. It reads the variable's input and display format (names, widths,
// decimals), its class and its transcode_length, and fills nformlong, niformlong (8 bytes each, which the caller has
// provided), nformlongl, niformlongl, nfl, nfd, nifl and nifd. A name of length 0 leaves the host to its standard
// format. Widths and decimals that 16 bits cannot hold become the nearest number they can.
void to_vor_formats(innamerecord *in1name, NAMESTR *np);

// Names: a variable's name and label as the host sees them, in the session's encoding. How a name is treated depends on
// the encodings of file and session and on the names that the host allows; one table says which way it goes.

inline constexpr int64_t NAME_AREA_BYTES = VARIABLE_NAME_BYTES + 1;
inline constexpr int64_t LABEL_AREA_BYTES = 257;

// What is known of the session's encoding; each value is a bit.
enum session_encoding : uint8_t { SESSION_OTHER = 1, SESSION_UTF8 = 2, SESSION_TWO_BYTE = 4 };

// What the names of one import have in common.
struct import_names {
    IMGLUE *self;
    bool any_characters; // the host allows names of any characters
    session_encoding encoding;
    outnamestruct *used; // root of the tree of names
};

// setup_import_names: ask the host which names it allows and what the session's encoding is; sets server_is_wlatin1
// for a Latin 1 session.
void setup_import_names(IMGLUE *self, import_names *names);

// give_name: the variable's clean and unique name.
//
// ordinal    its number, from 1.
// name_area  NAME_AREA_BYTES, kept by the session; receives the name, terminated.
void give_name(import_names *names, const innamerecord *variable, int32_t ordinal, char *name_area);

// give_plain_name: the variable's own name, when that is a plain one and still free; else name_area stays empty.
void give_plain_name(import_names *names, const innamerecord *variable, char *name_area);

// give_label: label_p and nlablen of the variable's nmptr; a variable without a label gets its name in the file.
//
// variable    its name has been given.
// label_area  LABEL_AREA_BYTES, kept by the session; null when there is no pipeline.
void give_label(IMGLUE *self, const innamerecord *variable, char *label_area);

// Observations, one at a time, into the host observation.

// mivex_setup_read_buffer: allocate the host observation and everything that moving values needs, and have the driver
// read the first record; on a second call start again from the first record.
//
// 0, ERROR_MEMORY, or the driver's code.
status mivex_setup_read_buffer(IMGLUE *self);

// mivex_get_one_record: fill the host observation from the current record and move to the next one. Nothing is
// allocated. Text that cannot be transcoded, or does not fit, is delivered as far as it goes, and logged.
//
// 0, ERROR_END_OF_FILE after the last observation (with a note of the counts in the log; the observation is then that
// of the call before), or the driver's code.
status mivex_get_one_record(IMGLUE *self);

// mivex_variables: the file's variables by number, from 0, for those who ask for columns. Makes the observation if that
// is still to be done; null without memory.
innamerecord *const *mivex_variables(IMGLUE *self);

// mivex_get_columns: the same for as many records as a batch takes, from first_row on, into its columns, which have
// been checked and started.
//
// 0                  `rows` are there: none when not even the next one's texts find room
// ERROR_END_OF_FILE  no record is left
// else               the driver's code; the rows before the failure are there
status mivex_get_columns(IMGLUE *self, vor_batch *batch);
