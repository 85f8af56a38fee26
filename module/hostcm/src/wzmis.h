// The host's missing values: doubles whose top 16 bits are all ones, with the kind of missing value in the byte below.
#pragma once

#include <cstdint>

// The byte below the top two counts the kinds downwards.
inline constexpr int32_t KIND_UNDERSCORE = 0xFF;
inline constexpr int32_t KIND_A = 0xFD;
inline constexpr int32_t KIND_Z = KIND_A - ('Z' - 'A');

// 1 when d is a missing value, else 0.
inline int32_t wzmis(double d) {
    return __builtin_bit_cast(uint64_t, d) >> 48 == 0xFFFF ? 1 : 0;
}

// The kind of the missing value d: '.', '_' or 'A' to 'Z', '.' also for a kind that the host does not have. 0 when d
// is no missing value.
inline int32_t wzmism(double d) {
    if (wzmis(d) == 0)
        return 0;
    const auto kind = static_cast<int32_t>(__builtin_bit_cast(uint64_t, d) >> 40 & 0xFF);
    if (kind == KIND_UNDERSCORE)
        return '_';
    return kind <= KIND_A && kind >= KIND_Z ? 'A' + (KIND_A - kind) : '.';
}

// 1 when the stored numeric value of len bytes (a double without its low bytes) is a missing value, else 0.
inline int32_t wzmisl(const char *dval, int32_t len) {
    return len >= 2 && dval[len - 1] == '\xFF' && dval[len - 2] == '\xFF' ? 1 : 0;
}
