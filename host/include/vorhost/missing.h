// The host's missing values: doubles whose top 16 bits are all ones, told apart by the byte below.
#pragma once

#include <bit>
#include <cstdint>

namespace vor {

// The mark of a missing value: '.', '_' or 'A' to 'Z'; 0 for a value that is not missing.
constexpr char missing_mark(double value) {
    const auto bits = std::bit_cast<uint64_t>(value);
    if ((bits >> 48) != 0xFFFF)
        return 0;
    const auto code = static_cast<int8_t>((bits >> 40) & 0xFF);
    if (code == -1)
        return '_';
    if (code == -2)
        return '.';
    return code <= -3 && code >= -28 ? static_cast<char>(62 - code) : '.';
}

// The missing value with a mark: '.', '_', 'A' to 'Z' or 'a' to 'z'; any other mark gives the standard one.
constexpr double missing_value(char mark) {
    const char upper = mark >= 'a' && mark <= 'z' ? static_cast<char>(mark - 'a' + 'A') : mark;
    const int code = upper == '_' ? -1 : upper >= 'A' && upper <= 'Z' ? 62 - upper : -2;
    return std::bit_cast<double>(0xFFFF'0000'0000'0000U | (static_cast<uint64_t>(static_cast<uint8_t>(code)) << 40));
}

constexpr bool is_missing(double value) {
    return (std::bit_cast<uint64_t>(value) >> 48) == 0xFFFF;
}

} // namespace vor
