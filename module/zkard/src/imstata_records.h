// The driver's own records of one Stata file: its state, its parsed header, and the descriptor arrays of reading.
#pragma once

#include "driver_records.h"
#include "imglue_tree.h"

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
    int64_t obsnum_8byte;
    uint32_t varnum_4byte;
};

// The state of an open Stata file.
struct dsnrecord {
    int64_t map_array[MAP_ENTRIES];
    int32_t release;
    int32_t byte_order;
    int32_t varcount;
    uint32_t *max_strls; // per variable, its longest long string in bytes; null until one was read
    shared_string_struct *head_avl_shared_string;
    uint32_t varnum_4byte;       // search key
    int64_t obsnum_8byte;        // search key
    double value_label_position; // where the value-label tables of a binary file start
    double file_size;            // bytes, the bound of every count and offset
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
