// The extension of the base contract: what a host may ask of the module beyond it, and what module and host then tell
// each other about a file.
//
// A host puts the address of a vor_extension into the base class's field `extend` before `open`, with size_bytes,
// version and its wishes set; the module reads it in `open` and never frees it. Null there, or no wishes: the base
// contract. `open` refuses, with a line in the log and HOST_LOGGED, a block whose version it does not know or that ends
// before the field `granted`; a field that the block has no room for does not exist for either side. Later versions of
// the module append fields and keep these.
//
// Life times: the block must stand until `close` returns. An import's facts are the module's; they stand from a
// successful `getvars` to `close`. An export's are the host's; they must stand from `putvars` to `close`. Text is in
// the file's own encoding, neither transcoded nor terminated: UTF-8 from release 117 on, unknown before.
//
// The same records serve both directions, so that what an import tells can be given to an export as it is.
#pragma once

#include "vor/stata_layout.h"

#include <cstdint>

struct IMGLUE;

inline constexpr uint32_t EXTENSION_VERSION = 1;

// What a host may wish. Each wish that the module can fulfil comes back in `granted`.
enum vor_wish : uint64_t {
    // Numbers are the stored ones, in the unit that the variable's facts name (days, milliseconds ...), also dates and
    // clocks; an export takes them so and stores them as the facts say. Missing values are the host's own, as ever.
    WISH_STORED_NUMBERS = 1,
    // The slot of a character variable holds a vor_text_slot (ntype NAMESTR_CHARACTER, nlng 16, at a multiple of 8):
    // its text whole, trailing blanks included, a long string too. An import's text stands until the next getnextrow.
    WISH_WHOLE_TEXT = 2,
    // An import's names and labels come as the file has them: not cleaned, cut, made unique or transcoded, and a
    // variable without a label has none.
    WISH_OWN_NAMES = 4,
    // Value labels come as tables in the facts, those that no variable uses too, and no user formats are made or asked
    // for. An import without OUTMODE_WRITE_LABELS reads none; a damaged table is left out with a warning.
    WISH_LABEL_TABLES = 8,
    // Notes and other characteristics come in the facts.
    WISH_CHARACTERISTICS = 16,
};
inline constexpr uint64_t EVERY_WISH =
    WISH_STORED_NUMBERS | WISH_WHOLE_TEXT | WISH_OWN_NAMES | WISH_LABEL_TABLES | WISH_CHARACTERISTICS;

// Bytes that belong to somebody else; null only with a length of 0.
struct vor_text {
    const char *bytes;
    int64_t length;
};

// A character value in an observation.
struct vor_text_slot {
    const char *bytes;
    int32_t length;
    int32_t binary; // 1: a long string of bytes that are no text
};

struct vor_variable_facts {
    vor_text name;
    vor_text label;
    vor_text format;      // display format, such as %9.2f
    vor_text label_table; // name of the table of its value labels; empty: none
    int32_t stored;       // stored_type
    int32_t width_bytes;  // of the stored value; of a long string 8
    int32_t unit;         // display_unit; an export goes by the format
    int32_t free;
};

// One label. Missing values are those of a stored long: 2147483621 is ".", the next one ".a".
struct vor_value_label {
    vor_text text;
    int32_t value;
    int32_t free;
};

struct vor_label_table {
    vor_text name;
    int64_t count;
    const vor_value_label *labels; // in the order of the file
};

struct vor_characteristic {
    vor_text of; // "_dta" for the data set, or a variable's name
    vor_text name;
    vor_text text;
};

struct vor_file_facts {
    int32_t release;    // an export chooses its own
    int32_t big_endian; // likewise: 0
    int64_t observations;
    vor_text data_label;
    vor_text timestamp; // such as " 2 Jan 2020 10:11"
    int64_t variable_count;
    const vor_variable_facts *variables; // in the order of the file
    int64_t sort_key_count;
    const int32_t *sort_keys; // variables from 1 on, the first key first
    int64_t characteristic_count;
    const vor_characteristic *characteristics;
    int64_t label_table_count;
    const vor_label_table *label_tables;
};

// One variable of a batch, in buffers that belong to the host and that may change from call to call. The layout is
// Arrow's: bit i of a bitmap is bit i % 8 of its byte i / 8; text i stands from offset i to offset i + 1. "in" is what
// the host sets for getcolumns, "out" what that fills; putcolumns reads all of it, so that a batch of an import can go
// into an export as it is.
struct vor_column {
    int32_t variable; // in: from 0, in the order of the facts
    int32_t type;     // out: stored_type of the values. An export takes any number for a number, any text for a text
    void *values;     // in: room for row_limit numbers. out: as they are stored, in the byte order of the machine and
                      // the unit of the facts; a missing one has its stored value, which an export does not read
    void *offsets;    // in: of texts, room for row_limit + 1 integers of offset_bytes. The first is 0
    char *bytes;      // in: of texts, room_bytes. out: their bytes, in the file's encoding, without terminators
    int64_t room_bytes;
    int64_t needed_bytes; // out: of texts; see getcolumns
    uint8_t *validity;    // in: of numbers, room for row_limit bits. out: 1 for a number, 0 for a missing value. Those
                          // of texts, which are never missing, are not filled. An export takes null for no missing
                          // values, and a text that is missing for an empty one
    uint8_t *marks;       // in: of numbers, room for row_limit bytes, or null. out, if has_marks: '.', 'a' to 'z' for a
                          // missing value, 0 for a number
    uint8_t *binary;      // in: of long strings, room for row_limit bits, or null. out: 1 for bytes that are no text
    int64_t null_count;   // out: missing values. An export does not read it
    int32_t offset_bytes; // in: 4 or 8
    int32_t has_marks;    // out: 1: one of the missing values is not "."; marks are filled if there is room for them
    int32_t has_binary;   // out: 1: one of the long strings is no text. An export reads `binary` only then
    int32_t free;
};

// Some rows of some variables.
struct vor_batch {
    int64_t first_row; // in: from 0, or NEXT_ROW; an export does not read it
    int64_t row_limit; // in: the most rows to deliver; an export does not read it
    int64_t rows;      // out, of an export in: rows of the batch
    int64_t column_count;
    vor_column *columns;
};
inline constexpr int64_t NEXT_ROW = -1; // the row behind the one delivered last, by whichever operation

// An operation on a batch; getcolumns and putcolumns are such. Returns a host return code.
using vor_batch_operation = int32_t (*)(IMGLUE *self, vor_batch *batch);

struct vor_extension {
    uint32_t size_bytes; // of the block, as the host knows it
    uint32_t version;    // EXTENSION_VERSION
    uint64_t wishes;     // vor_wish
    uint64_t granted;    // out, by open: those of them that are fulfilled
    // Import: null until getvars succeeds. Export: set by the host before putvars, with as many variables as putvars
    // gets; null: stored types, formats and tables are chosen from the NAMESTRs.
    const vor_file_facts *facts;
    // The operations are set by open; one without them leaves the null that the host put there. Both need the
    // wishes for stored numbers and whole text, and mix with getnextrow and putnextrow.
    //
    // getcolumns: the next row_limit rows, or those from first_row on, whatever was passed over before; only rows asked
    // for are read. After getvars. Columns are those the host wants, in any order; a variable may come twice.
    //
    // 0                 `rows` rows: fewer than row_limit where the file ends, or where the next row's texts may find
    // no
    //                   room. A fixed string takes its width of it, whatever its length.
    // HOST_END_OF_DATA  no row is left
    // HOST_NO_MEMORY    not even the next row's texts find room: needed_bytes of such a column says how much they need.
    //                   Nothing was delivered or logged, and the same rows may be asked for again
    // else              as getnextrow at the same row; the `rows` rows in front of it have been delivered. HOST_LOGGED
    //                   with no rows also for a batch that cannot be filled (a variable that does not exist, a buffer
    //                   that is missing); the session stands
    vor_batch_operation getcolumns = nullptr;
    // putcolumns: write `rows` observations, as as many calls of putnextrow would, with the same codes. Needs facts.
    // The columns are all variables of the file in their order, whatever they say themselves. After putvars.
    // HOST_LOGGED also for a batch that cannot be written (another number of columns, a text for a number, a buffer
    // that is missing); the session stands, and nothing of it was written.
    vor_batch_operation putcolumns = nullptr;
};
