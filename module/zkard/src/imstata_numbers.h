// One stored number: its bytes as a value of this machine, and which values are missing. One record is decoded with
// these as well as a column of them.
#pragma once

#include "imswap.h"
#include "vor/stata_layout.h"

#include <cstdint>
#include <cstring>

inline constexpr float FLOAT_MISSING = 0x1p127F;
inline constexpr int32_t EXTENDED_MISSINGS = 26; // ".a" to ".z", above "."

template <class stored>
inline constexpr int32_t HIGHEST = sizeof(stored) == 1   ? INT8_MAX
                                   : sizeof(stored) == 2 ? INT16_MAX
                                                         : INT32_MAX;

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
inline int32_t letter_of_rank(int32_t rank) {
    return rank >= 1 && rank <= EXTENDED_MISSINGS ? 'a' - 1 + rank : 0;
}
template <class stored>
int32_t missing_letter(stored value) {
    return letter_of_rank(static_cast<int32_t>(value) - (HIGHEST<stored> - EXTENDED_MISSINGS));
}
inline int32_t missing_letter(float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    const auto letter = static_cast<int32_t>(bits >> 8 & 0xFF); // .a has 8, each further one 8 more
    return letter_of_rank(letter <= EXTENDED_MISSINGS << 3 ? letter >> 3 : 0);
}
inline int32_t missing_letter(double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    return letter_of_rank(static_cast<int32_t>(bits >> 40 & 0xFF));
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
    bool is_missing(float value) const { return value == FLOAT_MISSING || value != value; }
    bool is_missing(double value) const { return value == double_missing || value != value; }
};

// "." and ".a" to ".z".
struct extended_missing {
    static constexpr bool HAS_LETTERS = true;
    double double_missing;

    template <class stored>
    bool is_missing(stored value) const {
        return value >= HIGHEST<stored> - EXTENDED_MISSINGS;
    }
    bool is_missing(float value) const { return !(value < FLOAT_MISSING); }
    bool is_missing(double value) const { return !(value < LEAST_MISSING_DOUBLE); }
};
