// Letters, digits and blanks of ASCII, which is what names of formats, encodings, options and files are compared by.
// Other bytes are no letters and never change, so that UTF-8 stays whole.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace vor {

constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char lower_case(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char upper_case(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr bool is_letter(char c) {
    return lower_case(c) >= 'a' && lower_case(c) <= 'z';
}

inline std::string lower_case(std::string_view text) {
    std::string lower(text);
    std::transform(text.begin(), text.end(), lower.begin(), [](char c) { return lower_case(c); });
    return lower;
}

inline std::string upper_case(std::string_view text) {
    std::string upper(text);
    std::transform(text.begin(), text.end(), upper.begin(), [](char c) { return upper_case(c); });
    return upper;
}

inline bool same_but_for_case(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return lower_case(a) == lower_case(b); });
}

inline std::string_view without_trailing_blanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

} // namespace vor
