// What the releases of the Stata file format differ in: widths, type codes, missing values, rules. One row for each
// release; nothing else in the driver compares release numbers. It reads no file.
#pragma once

#include <cstdint>

// What a value is stored as.
enum stored_type : int32_t {
    STORED_BYTE,
    STORED_SHORT,
    STORED_LONG,
    STORED_FLOAT,
    STORED_DOUBLE,
    STORED_NUMBERS, // how many numeric types there are
    STORED_STRING = STORED_NUMBERS,
    STORED_STRL, // a reference to a long string
};

// Bytes of a value in the record, by stored type; a string's are in its type code.
inline constexpr int32_t STORED_BYTES[] = {1, 2, 4, 4, 8, 0, 8};

// How the type list codes the stored types.
struct type_coding {
    int32_t code_bytes;
    uint16_t numbers[STORED_NUMBERS]; // indexed by stored type
    uint16_t strl;                    // 0: none
    uint16_t string_base;             // a string of n bytes has the code string_base + n
    uint16_t string_shortest;         // bytes
    uint16_t string_longest;
};

// The stored type of a code, and the bytes it takes in a record. False, and nothing stored, for a code that the
// releases with this coding do not have.
bool find_stored_type(const type_coding *coding, int32_t code, stored_type *type, int32_t *width_bytes);

enum missing_family : int32_t {
    MISSING_SINGLE,   // the highest value of each type
    MISSING_EXTENDED, // the highest 27 values of each type: "." and ".a" to ".z"
};

enum date_rule : int32_t {
    DATES_NONE,   // display formats say nothing about dates
    DATES_DAYS,   // %d and %t formats are dates
    DATES_CLOCKS, // and %tc formats are times
};

enum label_layout : int32_t {
    LABELS_SHORT, // 16-bit values and texts of 8 bytes
    LABELS_AREA,  // 32-bit values and an area of texts
};

// One release. Widths are bytes; 0 where the release has no such field.
struct release_layout {
    int32_t release;
    bool tagged;
    const type_coding *types;
    missing_family missing;
    double double_missing; // a stored double with this value is missing; of the extended family, one not below it
    date_rule dates;
    label_layout labels;
    int32_t variable_count_bytes;
    int32_t observation_count_bytes;
    int32_t data_label_bytes;        // the field of a binary header; the longest label of a tagged one
    int32_t data_label_length_bytes; // in front of the label of a tagged header
    int32_t timestamp_bytes;         // the field of a binary header
    int32_t name_bytes;              // variable names and value-label names
    int32_t format_bytes;
    int32_t variable_label_bytes;
    int32_t sort_entry_bytes;
    int32_t expansion_length_bytes; // the length in an expansion field of a binary file
    int32_t label_name_padding_bytes;
    int32_t strl_variable_bytes;   // of the variable number in a record's 8-byte reference
    int32_t gso_observation_bytes; // of the observation number of a stored long string
    bool text_is_utf8;
};

// The row of a release; null for a number that is none of the releases read.
const release_layout *find_release(int32_t release);
