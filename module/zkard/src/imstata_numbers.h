// One stored number: its bytes as a value of this machine, and which values are missing. One record is decoded with
// these as well as a column of them.
#pragma once

#include "imswap.h"
#include "vor/stata_layout.h"

#include <cstdint>
#include <cstring>

// The value that begins at `field`; swapped: its most significant byte comes first.
template <bool swapped, class stored>
stored stored_value(const char *field) {
    stored value;
    memcpy(&value, field, sizeof value);
    if constexpr (swapped && sizeof value == 2)
        from_sun_short(&value);
    if constexpr (swapped && sizeof value == 4)
        from_sun_long(&value);
    if constexpr (swapped && sizeof value == 8)
        from_sun_double(&value);
    return value;
}

// The letter of a value that is missing: 0 for ".", else 'a' to 'z'.
template <class stored>
int32_t missing_letter(stored value) {
    const int32_t rank = missing_rank(value);
    return rank == 0 ? 0 : letter_of_rank(rank);
}

// Both families take a NaN for missing: the host's own missing values are NaNs, and none of them is meant here.

// One missing value.
struct one_missing {
    static constexpr bool HAS_LETTERS = false;
    double double_missing; // of the release

    template <class stored>
    bool is_missing(stored value) const {
        return value == HIGHEST<stored>;
    }
    bool is_missing(float value) const { return value == stored_missing<float>(0) || value != value; }
    bool is_missing(double value) const { return value == double_missing || value != value; }
};

// "." and ".a" to ".z".
struct extended_missing {
    static constexpr bool HAS_LETTERS = true;
    double double_missing;

    template <class stored>
    bool is_missing(stored value) const {
        return value > LARGEST_NUMBER<stored>;
    }
    bool is_missing(float value) const { return !(value < stored_missing<float>(0)); }
    bool is_missing(double value) const { return !(value < LEAST_MISSING_DOUBLE); }
};
