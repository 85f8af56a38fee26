// The writer of Stata files: the beginning with its descriptors, the observations, the end.
#pragma once

#include "imglue_log.h"
#include "imstata_records.h"
#include "output_records.h"

#include <cstdint>

// The beginning of an exported Stata file: header, map and descriptors up to the opening tag of the data. It lays out
// each variable (type, width, display format, value-label table) for the record encoders; it writes no observation.
//
// Files are tag-delimited, of release 118, or 119 when the variables do not fit into 118, and least significant byte
// first, which is this machine's order.

inline constexpr int32_t WRITTEN_LAYOUT = 15;         // outbylastrec: the tag-delimited layout
inline constexpr int32_t LARGEST_FILE_OF_118 = 32767; // variables

// Output type codes.
enum output_type : int32_t {
    OUTPUT_CHARACTER = 3,
    OUTPUT_DOUBLE = 10,
    OUTPUT_LAST_LABELLED = 14, // codes from OUTPUT_DOUBLE to here may carry value labels
    OUTPUT_DATE = 15,
    OUTPUT_TIME = 18,
    OUTPUT_DATETIME = 19,
    OUTPUT_STORED = 30, // as the host's facts say: from here on by stored_type
};

// What the end of the export goes back to.
struct outheadrec {
    int32_t offset_to_reccount; // of the number of observations
    int32_t header_length;      // bytes before the map's opening tag
    int32_t offset_to_map;      // of that tag
    int64_t map_values[MAP_ENTRIES];
    const vor_file_facts *facts;  // what the host wants written; null under the base contract
    const release_layout *layout; // of the file
    const outvarrec *unfit;       // the first variable with a value that its stored type cannot hold; null: none
    status long_string_status;    // of writing long strings aside
    vor_value_label *labels;      // of the table being written; the next one may have as many without asking for more
    int64_t label_room;
};

// outmakerecord: write everything in front of the first observation and lay out the variables of outtemphead.
//
// 0                   the file stands behind the opening tag of the data; outvars, outreclen and the variables' types
//                     and widths are set
// ERROR_MEMORY, ERROR_WRITE, ERROR_SEEK
// ERROR_NO_VARIABLES  an observation would have no bytes
// After a failure the file is incomplete.
status outmakerecord(outdbsrec *out);

// The release that a file of so many variables is written in.
const release_layout *written_release(int32_t variables);

// The observations of an exported Stata file: a buffer of whole records, and an encoder for each type of variable. It
// knows how values are stored and how the conversion layer hands them over; the layout of a record was decided with
// the descriptors.
//
// Numbers arrive as a mivex_num_struct, whose miss_char selects the missing value: 'A' to 'Z' become .a to .z,
// everything else the plain one. Dates and date-times arrive as minutes since 1899-12-31 00:00, times as minutes.

// initoutbuffer: allocate the record buffer and give every variable its encoder. Called once, after outmakerecord.
//
// 0, ERROR_MEMORY, ERROR_BUFFER_SIZE; ERROR_NO_VARIABLES when a record has no bytes; ERROR_VARIABLE_TYPE for a variable
// with an unknown output type code.
status initoutbuffer(outdbsrec *out);

// beginoutrec: start an observation. 0.
status beginoutrec(outdbsrec *out);

// writeit: encode the next value of the observation. Called once for each variable, in outallhead order.
//
// value  characters: outnamelength of them; numbers: a mivex_num_struct.
void writeit(outdbsrec *out, outvarrec *variable, const void *value);

// endoutrec: complete the observation; a full buffer is written. 0 or ERROR_WRITE; the records in the buffer are then
// lost. ERROR_OUTPUT_INVALID when a value did not fit its type, or what kept a long string from being set aside.
status endoutrec(outdbsrec *out);

// writeblock: write the rows of a batch, as beginoutrec, writeit and endoutrec would one after the other, with the same
// codes. Its columns are those of outallhead, whose facts were given.
status writeblock(outdbsrec *out, const vor_batch *batch);

// Completes the record being built and further ones behind it, all of which stand in the buffer; as endoutrec.
status end_records(outdbsrec *out, int64_t count);

// The encoders. Each stores its value at `target` and adds its width to outcurrcol.
void writechar(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writedouble_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writedatelong_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writetime_numeric_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writedatetime_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);

// Encoders of what the host's facts ask for; null for a stored type that does not exist. Numbers come in the unit in
// which they are stored, texts as a vor_text_slot. A value that does not fit is kept in outheadrec::unfit, and the
// observation's end fails.
outnamefunct_type find_stored_encoder(int32_t stored);

// Opens the file in which long strings wait for the end of the data. 0 or open_scratch_file's status.
status open_long_strings(outdbsrec *out);

// The section of long strings, at its place behind the data. 0, ERROR_READ, ERROR_WRITE or ERROR_SEEK.
status write_long_strings(outdbsrec *out);

// ERROR_OUTPUT_INVALID, with the message; format and values as write_error takes them.
template <class... arguments>
status fail_output(outdbsrec *out, const char *format, arguments... values) {
    write_error(out->message_string, format, values...);
    return ERROR_OUTPUT_INVALID;
}

// A number as a 32-bit integer, its fraction dropped. One that 32 bits do not hold, and NaN, give the least of them,
// which stands for no value of a Stata long.
int32_t number_to_long(double number);

// The end of an exported Stata file: the records still waiting, the sections behind the data, and the places in the
// header that only the end can fill.

// finoutdbs: complete the file after the last observation.
//
// 0                     the file is complete; the record buffer's content is gone
// ERROR_WRITE           records, value labels, the map or the count could not be written
// ERROR_SEEK            a tag could not be written, or the host could not tell the position or move
// ERROR_OUTPUT_INVALID  a table of value labels is longer than the format can say; message_string names it
// After a failure the file is incomplete.
status finoutdbs(outdbsrec *out);
