// The driver's own records of one Stata file (its state, its parsed header, the descriptor arrays) and the reading of
// its observation records. How a value is decoded stands in imstata_decoders.
#pragma once

#include "driver_records.h"
#include "imglue_memory.h"
#include "imglue_tree.h"
#include "vor/extension.h"
#include "vor/stata_layout.h"

#include <cstdint>

inline constexpr int32_t MOST_SIGNIFICANT_FIRST = 1;
inline constexpr int32_t LEAST_SIGNIFICANT_FIRST = 2;

// Entries of the map of a tagged file.
enum map_entry : int32_t {
    MAP_STATA_DTA,
    MAP_MAP,
    MAP_VARIABLE_TYPES,
    MAP_VARNAMES,
    MAP_SORTLIST,
    MAP_FORMATS,
    MAP_VALUE_LABEL_NAMES,
    MAP_VARIABLE_LABELS,
    MAP_CHARACTERISTICS,
    MAP_DATA,
    MAP_STRLS,
    MAP_VALUE_LABELS,
    MAP_STATA_DTA_END,
    MAP_END_OF_FILE,
    MAP_ENTRIES,
};

// One long string; a node of the tree keyed by observation, then variable.
struct shared_string_struct {
    avlstruct avlrec;
    char *string; // len bytes, not terminated
    int32_t len;
    uint32_t varnum_4byte;
    int64_t obsnum_8byte;
    bool whole;  // string stands in a place of its own
    bool binary; // bytes that are no text
};

// Long strings of a variable that are longer than what is kept of them.
struct cut_texts {
    int64_t count;
    int64_t first_observation;
};

struct label_index;
struct kept_characteristic;

// The state of an open Stata file.
struct dsnrecord {
    int64_t map_array[MAP_ENTRIES];
    int32_t release;
    int32_t byte_order;
    int32_t varcount;
    uint32_t *max_strls;  // per variable, its longest long string in bytes; null until one was read
    cut_texts *cut_strls; // per variable; likewise
    int64_t longest_strl; // bytes, of all variables
    shared_string_struct *head_avl_shared_string;
    uint32_t varnum_4byte; // search key
    int64_t obsnum_8byte;  // search key

    const release_layout *layout;
    int64_t file_size;                         // bytes, the bound of every count and offset
    double value_label_position;               // where the value-label tables of a binary file start
    int64_t records_in_buffer;                 // complete records from the buffer's first slot on
    int64_t bytes_of_next_record;              // found of the record after them, when it is not complete
    int64_t characteristics;                   // notes and the like, passed over
    int64_t texts_cut;                         // long strings delivered shorter than they are
    int64_t texts_absent;                      // references to long strings that the file does not hold
    label_index *labels;                       // null until a table was asked for
    kept_characteristic *kept_characteristics; // for the host's facts, in the order of the file
    kept_characteristic *last_characteristic;
    session_arena arena;
    char *section_buffer;
};

struct headerrec {
    uint8_t release;
    uint8_t byteorder;
    uint8_t filetype;
    uint8_t unused;
    int16_t nvar_2byte;
    int32_t nobs_4byte;
    int32_t nvar_4byte;
    int64_t nobs_8byte;
    char datalabel[321]; // terminated
    char timestamp[256]; // terminated
};

// The descriptor arrays, fixed width per variable.
struct descrec {
    uint8_t *typelist;
    char *varlist;
    uint16_t *srtlist_2byte;
    uint32_t *srtlist_4byte;
    char *fmtlist;
    char *lbllist;
    char *labels;
    uint16_t *typelist_2;
};

// initbuffer: choose every variable's decoder and read the first records.
//
// in  set up by dindbssetup, the file at the first observation; the session's current_record_number says how many
//     records are passed over, and is at most intotal afterwards.
// 0                    the current record is the first one to deliver, or infinish is set because there is none
// ERROR_VARIABLE_TYPE  a variable has a decoder code that does not exist
// ERROR_READ           the first record is not all there; message_string tells
// ERROR_MEMORY, ERROR_BUFFER_SIZE, ERROR_SEEK
status initbuffer(indbsrec *in);

// re_initbuffer: back to the first record to deliver, after an initbuffer that succeeded. 0, ERROR_SEEK or ERROR_READ.
status re_initbuffer(indbsrec *in);

// getrecord: move to the next record; from the last one, set infinish.
//
// 0, also when infinish was set before; ERROR_READ when the file does not hold all of the next record: message_string
// names the observation, the bytes expected and found, and the place. The current record then no longer stands.
status getrecord(indbsrec *in);

// seekrecord: make a record the current one, from 0, wherever the reading stands; behind the last one set infinish.
// What re_initbuffer goes back to stays. As initbuffer.
status seekrecord(indbsrec *in, int64_t record);

// Of the records from the current one on: how many stand in the buffer without a gap, at least one unless infinish.
int64_t records_at_hand(const indbsrec *in);

// Makes the record `count` behind the current one the current one; fewer than records_at_hand.
void step_over(indbsrec *in, int64_t count);

// readblock: append records from the current one on to the columns of a batch, as many as are at hand, wanted and find
// room. It adds nothing to the rows of the batch. The last of them becomes the current one.
//
// variables  of the file, by number
// Returns how many; 0 when the texts of the current one find no room, of which needed_bytes tells.
int64_t readblock(indbsrec *in, innamerecord *const *variables, vor_batch *batch);

// Where the text of a row begins in a column's bytes; that of the row behind the last one is where they end.
inline int64_t offset_at(const vor_column *column, int64_t row) {
    return column->offset_bytes == sizeof(int32_t) ? static_cast<const int32_t *>(column->offsets)[row]
                                                   : static_cast<const int64_t *>(column->offsets)[row];
}

// endblocks: complete the columns after the last block: types, missing values, bits behind the rows.
void endblocks(indbsrec *in, innamerecord *const *variables, vor_batch *batch);

// The decoders: each turns one stored value of the current record into the conversion layer's value. A decoder never
// fails and allocates nothing; what kind of value stands where was settled when the file was set up.
//
// Numbers become doubles, dates minutes since 1899-12-31, clock values minutes. Files of one missing value get a
// double, with MISSING_SENTINEL for it; later ones a mivex_num_struct, whose miss_char is set for missing values only.
// A stored number that is MISSING_SENTINEL is a mivex_num_struct with NOT_MISSING in either.

// What innameftype may be.
enum decoder_code : int32_t {
    DECODE_NO_TEXT = 4,   // blanks
    DECODE_NO_NUMBER = 5, // a missing number
    DECODE_SHORT = 10,
    DECODE_LONG = 11,
    DECODE_FLOAT = 12,
    DECODE_DOUBLE = 13,
    DECODE_TEXT = 14,
    DECODE_PADDED_TEXT = 15, // to more bytes than the field has
    DECODE_BYTE = 16,
    DECODE_STRL = 18,
    DECODE_WHOLE_TEXT = 40, // into a vor_text_slot, the text in its place
    DECODE_WHOLE_STRL = 41,
    DECODE_DATE_SHORT = 20,
    DECODE_DATE_LONG = 21,
    DECODE_DATE_FLOAT = 22,
    DECODE_DATE_DOUBLE = 23,
    DECODE_DATE_BYTE = 26,
    DECODE_TIME_LONG = 31,
    DECODE_TIME_DOUBLE = 33,
    DECODE_DATETIME_DOUBLE = 34,
};

// The decoder of a code for files with those missing values and that byte order; null for a code that does not exist.
innamefunct_type find_decoder(int32_t code, missing_family missing, int32_t byte_order);

// read_stata_date: the day count of a date value of one kind.
//
// kind  'h' half-years, 'm' months, 'q' quarters, 'w' weeks since 1960; 'y' the year itself; anything else days since
//       1960-01-01. The first five lose the value's fraction.
double read_stata_date(double value, int32_t kind);
