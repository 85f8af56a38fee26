// Numbers as text, without allocation: the shortest decimal form, and the marks of missing values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vor {

// The longest text that write_number makes.
inline constexpr size_t number_text_max_bytes = 32;

// Writes the shortest text that reads back to the same double, an integer below 2^53 in plain digits; the end of the
// text. A missing value gives its mark.
char *write_number(double value, char *out);

// The same of a value that is a float, in the shortest text that reads back to that float; of others as above.
char *write_single(double value, char *out);

// The float whose text was read as `value`; `value` itself when no float has it for its shortest text.
double single_meant_by(double value);

// Reads a decimal number that fills the whole text, or "inf", "-inf", "nan", "-nan". A sign '+', blanks, other bases
// and numbers beyond the range of a double are refused.
bool read_number(std::string_view text, double &value);

// Whether read_number would accept the text, known without working out the number for most texts.
bool is_number(std::string_view text);

// Reads a missing value: "", ".", "._" or a full stop and a letter.
bool read_missing(std::string_view text, double &value);
inline constexpr size_t missing_text_max_bytes = 2;

// The text without blanks and tabs around it.
inline std::string_view trimmed(std::string_view text) {
    const auto is_blank = [](char character) { return character == ' ' || character == '\t'; };
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

// Whether a text is an integer that the double nearest to it does not hold exactly.
bool loses_digits(std::string_view text);

// What the user is told about the integers of a column that a double does not hold exactly.
std::string inexact_note(const std::string &column, int64_t count, int64_t first_row);

} // namespace vor
