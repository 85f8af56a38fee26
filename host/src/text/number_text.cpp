#include "text/number_text.h"

#include <vorhost/ascii.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <limits>

namespace vor {

namespace {

// Powers of ten that a double holds exactly.
constexpr std::array<double, 23> exact_powers = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                                 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

constexpr uint64_t exact_integers = uint64_t{1} << 53;

// Digits with at most one full stop whose value is a quotient of two exact doubles: one division rounds it correctly,
// which makes it many times faster than the general case and covers nearly every number of a real table.
bool read_short_decimal(const char *at, const char *end, double &magnitude) {
    uint64_t digits = 0;
    const char *point = nullptr;
    if (end - at > 18)
        return false;
    for (; at != end; ++at) {
        const auto digit = static_cast<unsigned char>(*at - '0');
        if (digit <= 9) {
            digits = digits * 10 + digit;
            continue;
        }
        if (*at != '.' || point)
            return false;
        point = at;
    }
    if (digits > exact_integers)
        return false;
    const auto decimals = point ? static_cast<size_t>(end - point - 1) : 0;
    magnitude = static_cast<double>(digits);
    if (decimals != 0)
        magnitude /= exact_powers[decimals];
    return true;
}

bool read_special(std::string_view text, bool negative, double &value) {
    if (text == "inf")
        value = std::numeric_limits<double>::infinity();
    else if (text == "nan")
        value = std::numeric_limits<double>::quiet_NaN();
    else
        return false;
    value = negative ? -value : value;
    return true;
}

// Whether a number is written in plain digits: an integer that is apart from its neighbours, and not -0.
bool is_written_as_integer(double value) {
    if (!(std::fabs(value) < static_cast<double>(exact_integers)))
        return false;
    const auto integer = static_cast<int64_t>(value);
    return static_cast<double>(integer) == value && (integer != 0 || !std::signbit(value));
}

// Writes a number with one to six decimals; null when it is none. A quotient of two exact doubles is rounded correctly,
// so the digits read back to the same number; below 2^50 units no other count of them does, and without zeros at the
// end they are the shortest. Most fractions of real tables are such numbers.
char *write_short_decimal(double value, char *out) {
    constexpr int decimals = 6;
    constexpr int64_t units = 1000000;
    constexpr double smallest = 0.01; // an exponent may be shorter below
    constexpr double largest = 1e9;
    const double magnitude = std::fabs(value);
    if (!(magnitude >= smallest && magnitude < largest))
        return nullptr;
    int64_t scaled = std::llround(magnitude * units);
    const int64_t integer = scaled / units;
    if (scaled == integer * units || static_cast<double>(scaled) / units != magnitude)
        return nullptr;
    if (value < 0)
        *out++ = '-';
    out = std::to_chars(out, out + number_text_max_bytes, integer).ptr;
    *out = '.';
    for (int place = decimals; place > 0; --place, scaled /= 10)
        out[place] = static_cast<char>('0' + scaled % 10);
    out += decimals;
    while (*out == '0')
        --out;
    return out + 1;
}

} // namespace

char *write_number(double value, char *out) {
    const char mark = missing_mark(value);
    if (mark == 0 && is_written_as_integer(value)) // many times faster than the search for the shortest double
        return std::to_chars(out, out + number_text_max_bytes, static_cast<int64_t>(value)).ptr;
    if (mark == 0) {
        char *end = write_short_decimal(value, out);
        return end ? end : std::to_chars(out, out + number_text_max_bytes, value).ptr;
    }
    *out++ = '.';
    if (mark != '.')
        *out++ = mark == '_' ? mark : lower_case(mark);
    return out;
}

char *write_single(double value, char *out) {
    const auto single = static_cast<float>(value);
    if (is_missing(value) || static_cast<double>(single) != value || is_written_as_integer(value))
        return write_number(value, out);
    return std::to_chars(out, out + number_text_max_bytes, single).ptr;
}

double single_meant_by(double value) {
    const auto single = static_cast<float>(value);
    if (is_missing(value) || static_cast<double>(single) == value || !std::isfinite(single))
        return value;
    std::array<char, number_text_max_bytes> text;
    const char *end = std::to_chars(text.data(), text.data() + text.size(), single).ptr;
    double shortest = 0;
    read_number({text.data(), static_cast<size_t>(end - text.data())}, shortest);
    return shortest == value ? static_cast<double>(single) : value;
}

bool read_number(std::string_view text, double &value) {
    const char *at = text.data();
    const char *const end = at + text.size();
    const bool negative = at != end && *at == '-';
    if (negative)
        ++at;
    const bool starts_as_number = at != end && (is_digit(*at) || (*at == '.' && end - at > 1 && is_digit(at[1])));
    if (!starts_as_number)
        return read_special({at, static_cast<size_t>(end - at)}, negative, value);
    double magnitude = 0;
    if (!read_short_decimal(at, end, magnitude)) {
        const auto [stopped, error] = std::from_chars(at, end, magnitude);
        if (error != std::errc{} || stopped != end)
            return false;
    }
    value = negative ? -magnitude : magnitude;
    return true;
}

bool is_number(std::string_view text) {
    // A full stop among digits, and too few of them to go beyond a double. No branch depends on a character.
    constexpr size_t plain_length = 300;
    const std::string_view digits = text.starts_with('-') ? text.substr(1) : text;
    size_t points = 0;
    size_t others = 0;
    for (const char character : digits) {
        points += character == '.' ? 1 : 0;
        others += is_digit(character) ? 0 : 1;
    }
    if (others == points && points <= 1 && digits.size() > points && digits.size() < plain_length)
        return true;
    double ignored = 0;
    return read_number(text, ignored);
}

bool read_missing(std::string_view text, double &value) {
    if (text.empty() || (text.size() == 1 && text[0] == '.')) {
        value = missing_value('.');
        return true;
    }
    if (text.size() != 2 || text[0] != '.')
        return false;
    const char letter = static_cast<char>(text[1] | 0x20);
    if (text[1] != '_' && (letter < 'a' || letter > 'z'))
        return false;
    value = missing_value(text[1]);
    return true;
}

bool loses_digits(std::string_view text) {
    constexpr size_t digits_of_every_double = 15;
    double value = 0;
    if (text.size() <= digits_of_every_double || !std::all_of(text.begin() + 1, text.end(), is_digit) ||
        !read_number(text, value) || std::fabs(value) < static_cast<double>(exact_integers))
        return false;
    const size_t first = text.find_first_not_of("-0");
    std::array<char, std::numeric_limits<double>::max_exponent10 + 2> exact{};
    const auto written =
        std::to_chars(exact.data(), exact.data() + exact.size(), std::fabs(value), std::chars_format::fixed, 0);
    return text.substr(first) != std::string_view(exact.data(), static_cast<size_t>(written.ptr - exact.data()));
}

std::string inexact_note(const std::string &column, int64_t count, int64_t first_row) {
    return fmt::format("Column {} holds {} integer{} beyond {} that a double cannot hold exactly, the first in row {}.",
                       column, count, count == 1 ? "" : "s", exact_integers, first_row);
}

std::string number_text(double value) {
    std::array<char, number_text_max_bytes> text{};
    return {text.data(), write_number(value, text.data())};
}

std::string single_text(double value) {
    std::array<char, number_text_max_bytes> text{};
    return {text.data(), write_single(value, text.data())};
}

std::optional<double> parse_number_text(std::string_view text) {
    const std::string_view core = trimmed(text);
    double value = 0;
    if (read_missing(core, value) || read_number(core, value))
        return value;
    return std::nullopt;
}

} // namespace vor
