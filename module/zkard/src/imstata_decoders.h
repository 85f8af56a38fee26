// The decoders: each turns one stored value of the current record into the conversion layer's value. A decoder never
// fails and allocates nothing; what kind of value stands where was settled when the file was set up.
//
// Numbers become doubles, dates minutes since 1899-12-31, clock values minutes. Files of one missing value get a
// double, with MISSING_SENTINEL for it; later ones a mivex_num_struct, whose miss_char is set for missing values only.
#pragma once

#include "imstata_records.h"

#include <cstdint>

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
