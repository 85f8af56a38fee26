// The beginning of an exported Stata file: header, map and descriptors up to the opening tag of the data. It lays out
// each variable (type, width, display format, value-label table) for the record encoders; it writes no observation.
//
// Files are tag-delimited, of release 118, or 119 when the variables do not fit into 118, and least significant byte
// first, which is this machine's order.
#pragma once

#include "imstata_records.h"
#include "output_records.h"

#include <cstdint>

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
};

// What the end of the export goes back to.
struct outheadrec {
    int32_t offset_to_reccount; // of the number of observations
    int32_t header_length;      // bytes before the map's opening tag
    int32_t offset_to_map;      // of that tag
    int64_t map_values[MAP_ENTRIES];
};

// outmakerecord: write everything in front of the first observation and lay out the variables of outtemphead.
//
// 0                   the file stands behind the opening tag of the data; outvars, outreclen and the variables' types
//                     and widths are set
// ERROR_MEMORY, ERROR_WRITE, ERROR_SEEK
// ERROR_NO_VARIABLES  an observation would have no bytes
// After a failure the file is incomplete.
int32_t outmakerecord(outdbsrec *out);

// determine_outvars: count the variables of outtemphead that are written (all of them) into outvars; outreclen is 0.
void determine_outvars(outdbsrec *out);

// The two steps of outmakerecord; outhead and outvars are set before.
int32_t doutmakedbs_v15(outdbsrec *out); // header and map. 0 or ERROR_WRITE
int32_t doutmakevars(outdbsrec *out);    // descriptors. 0, ERROR_MEMORY, ERROR_WRITE or ERROR_SEEK

// Whether a variable of outtemphead goes into the file.
bool is_written(const outdbsrec *out, const outvarrec *variable);

// The release that a file of so many variables is written in.
const release_layout *written_release(int32_t variables);
