// Dates, date-times and times: which formats show them, and ISO 8601. Fractions of a second go through decimal digits
// and never through arithmetic in binary, so that a text gives back the very bits it was made from.
#include <vorhost/ascii.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace vor {

namespace {

enum class Match {
    whole,    // the name is this
    prefix,   // the name begins with this and does not end in A, as that of a user format would that is kept apart
    suffixed, // this, then at most two of the letters that choose a separator or roman numerals
    iso,      // B, E, N or another letter, then just this
};

struct FormatRule {
    Match match;
    std::string_view name;
    Temporal kind;
};

// The host's formats by name. "suffixed" is narrower than "prefix" on purpose: a user format named after a variable
// such as YYMM_CODE is not a date.
constexpr FormatRule format_rules[] = {
    {Match::whole, "DATE", Temporal::date},         {Match::whole, "DATETIME", Temporal::date_time},
    {Match::whole, "TIME", Temporal::time},         {Match::suffixed, "MMDDYY", Temporal::date},
    {Match::suffixed, "DDMMYY", Temporal::date},    {Match::suffixed, "YYMMDD", Temporal::date},
    {Match::whole, "MONYY", Temporal::date},        {Match::suffixed, "YYQ", Temporal::date},
    {Match::suffixed, "MMYY", Temporal::date},      {Match::suffixed, "YYMM", Temporal::date},
    {Match::whole, "JULIAN", Temporal::date},       {Match::whole, "JULDAY", Temporal::date},
    {Match::whole, "WEEKDATE", Temporal::date},     {Match::whole, "WEEKDATX", Temporal::date},
    {Match::whole, "WEEKDAY", Temporal::date},      {Match::whole, "WEEKU", Temporal::date},
    {Match::whole, "WEEKV", Temporal::date},        {Match::whole, "WEEKW", Temporal::date},
    {Match::whole, "WORDDATE", Temporal::date},     {Match::whole, "WORDDATX", Temporal::date},
    {Match::whole, "DAY", Temporal::date},          {Match::whole, "DOWNAME", Temporal::date},
    {Match::whole, "MONTH", Temporal::date},        {Match::whole, "MONNAME", Temporal::date},
    {Match::whole, "QTR", Temporal::date},          {Match::whole, "QTRR", Temporal::date},
    {Match::whole, "YEAR", Temporal::date},         {Match::whole, "NENGO", Temporal::date},
    {Match::prefix, "NLDATE", Temporal::date},      {Match::prefix, "EURDF", Temporal::date},
    {Match::iso, "8601DA", Temporal::date},         {Match::whole, "TOD", Temporal::date_time},
    {Match::whole, "MDYAMPM", Temporal::date_time}, {Match::prefix, "NLDATM", Temporal::date_time},
    {Match::iso, "8601DT", Temporal::date_time},    {Match::iso, "8601DZ", Temporal::date_time},
    {Match::iso, "8601LX", Temporal::date_time},    {Match::iso, "8601DN", Temporal::date_time},
    {Match::whole, "HHMM", Temporal::time},         {Match::whole, "HOUR", Temporal::time},
    {Match::whole, "MMSS", Temporal::time},         {Match::prefix, "NLTIM", Temporal::time},
    {Match::iso, "8601TM", Temporal::time},         {Match::iso, "8601TZ", Temporal::time},
    {Match::iso, "8601LZ", Temporal::time},
};

bool matches(const FormatRule &rule, std::string_view name) {
    switch (rule.match) {
    case Match::whole:
        return name == rule.name;
    case Match::prefix:
        return name.starts_with(rule.name) && !name.ends_with('A');
    case Match::suffixed:
        return name.starts_with(rule.name) && name.size() <= rule.name.size() + 2 &&
               name.find_first_not_of("BCDNPRSZ", rule.name.size()) == std::string_view::npos;
    case Match::iso:
        return name.size() > 1 && name.substr(1) == rule.name;
    }
    return false;
}

constexpr std::chrono::sys_days day_zero = std::chrono::year{1960} / 1 / 1;
constexpr int64_t first_day = (std::chrono::sys_days{std::chrono::year{1} / 1 / 1} - day_zero).count();
constexpr int64_t last_day = (std::chrono::sys_days{std::chrono::year{9999} / 12 / 31} - day_zero).count();
constexpr int64_t day_seconds = 86400;
constexpr size_t most_digits = 18;

char *put_digits(char *out, unsigned number, int digits) {
    for (int place = digits - 1; place >= 0; --place) {
        out[place] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    return out + digits;
}

char *put_date(char *out, int64_t day) {
    const std::chrono::year_month_day date{day_zero + std::chrono::days{day}};
    out = put_digits(out, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    *out++ = '-';
    out = put_digits(out, static_cast<unsigned>(date.month()), 2);
    *out++ = '-';
    return put_digits(out, static_cast<unsigned>(date.day()), 2);
}

// A number of seconds as the whole second at or before it and the decimal digits of what is left.
struct Seconds {
    int64_t whole = 0;
    std::array<char, most_digits> digits{};
    size_t digit_count = 0;
};

// Turns decimal digits of a fraction, the last of which is not 0, into those of one minus it.
void complement(Seconds &seconds) {
    for (size_t i = 0; i < seconds.digit_count; ++i)
        seconds.digits[i] = static_cast<char>('0' + '9' - seconds.digits[i]);
    if (seconds.digit_count != 0)
        ++seconds.digits[seconds.digit_count - 1];
}

// value: within the years 1 to 9999. False when the fraction has too many digits.
bool split(double value, Seconds &seconds) {
    seconds.whole = static_cast<int64_t>(std::floor(value));
    if (static_cast<double>(seconds.whole) == value)
        return true;
    std::array<char, 64> text;
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), std::fabs(value), std::chars_format::fixed);
    if (error != std::errc{})
        return false;
    const char *const fraction = std::find(text.data(), end, '.') + 1;
    seconds.digit_count = static_cast<size_t>(end - fraction);
    if (seconds.digit_count > most_digits)
        return false;
    memcpy(seconds.digits.data(), fraction, seconds.digit_count);
    if (value < 0) {
        const int64_t magnitude = static_cast<int64_t>(std::fabs(value));
        seconds.whole = -magnitude - 1;
        complement(seconds);
    }
    return true;
}

// The inverse of split.
double join(Seconds seconds) {
    while (seconds.digit_count > 0 && seconds.digits[seconds.digit_count - 1] == '0')
        --seconds.digit_count;
    if (seconds.digit_count == 0)
        return static_cast<double>(seconds.whole);
    const bool negative = seconds.whole < 0;
    if (negative) {
        seconds.whole = -seconds.whole - 1;
        complement(seconds);
    }
    std::array<char, 64> text;
    char *end = std::to_chars(text.data(), text.data() + text.size(), seconds.whole).ptr;
    *end++ = '.';
    memcpy(end, seconds.digits.data(), seconds.digit_count);
    end += seconds.digit_count;
    double value = 0;
    std::from_chars(text.data(), end, value);
    return negative ? -value : value;
}

char *put_time(char *out, int64_t second_of_day, const Seconds &seconds) {
    const auto second = static_cast<unsigned>(second_of_day);
    out = put_digits(out, second / 3600, 2);
    *out++ = ':';
    out = put_digits(out, second / 60 % 60, 2);
    *out++ = ':';
    out = put_digits(out, second % 60, 2);
    if (seconds.digit_count == 0)
        return out;
    *out++ = '.';
    memcpy(out, seconds.digits.data(), seconds.digit_count);
    return out + seconds.digit_count;
}

size_t write_date(double value, char *buffer) {
    if (!(value >= static_cast<double>(first_day) && value <= static_cast<double>(last_day)))
        return 0;
    const auto day = static_cast<int64_t>(value);
    if (static_cast<double>(day) != value)
        return 0;
    return static_cast<size_t>(put_date(buffer, day) - buffer);
}

size_t write_date_time(double value, char *buffer) {
    constexpr auto first = static_cast<double>(first_day * day_seconds);
    constexpr auto end = static_cast<double>((last_day + 1) * day_seconds);
    Seconds seconds;
    if (!(value >= first && value < end) || !split(value, seconds))
        return 0;
    int64_t day = seconds.whole / day_seconds;
    int64_t second = seconds.whole % day_seconds;
    if (second < 0) {
        second += day_seconds;
        --day;
    }
    char *out = put_date(buffer, day);
    *out++ = 'T';
    return static_cast<size_t>(put_time(out, second, seconds) - buffer);
}

size_t write_time(double value, char *buffer) {
    Seconds seconds;
    if (!(value >= 0 && value < static_cast<double>(day_seconds)) || !split(value, seconds))
        return 0;
    return static_cast<size_t>(put_time(buffer, seconds.whole, seconds) - buffer);
}

// Takes exactly `digits` digits from the front of the text.
bool take_number(std::string_view &text, size_t digits, unsigned &number) {
    if (text.size() < digits)
        return false;
    number = 0;
    for (size_t i = 0; i < digits; ++i) {
        const auto digit = static_cast<unsigned char>(text[i] - '0');
        if (digit > 9)
            return false;
        number = number * 10 + digit;
    }
    text.remove_prefix(digits);
    return true;
}

bool take(std::string_view &text, char character) {
    if (!text.starts_with(character))
        return false;
    text.remove_prefix(1);
    return true;
}

bool take_date(std::string_view &text, int64_t &day) {
    unsigned year = 0;
    unsigned month = 0;
    unsigned day_of_month = 0;
    if (!take_number(text, 4, year) || !take(text, '-') || !take_number(text, 2, month) || !take(text, '-') ||
        !take_number(text, 2, day_of_month))
        return false;
    const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(year)}, std::chrono::month{month},
                                           std::chrono::day{day_of_month}};
    if (year < 1 || !date.ok())
        return false;
    day = (std::chrono::sys_days{date} - day_zero).count();
    return true;
}

bool take_time(std::string_view &text, Seconds &seconds) {
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    if (!take_number(text, 2, hour) || !take(text, ':') || !take_number(text, 2, minute) || !take(text, ':') ||
        !take_number(text, 2, second) || hour > 23 || minute > 59 || second > 59)
        return false;
    seconds.whole = hour * 3600 + minute * 60 + second;
    if (!take(text, '.'))
        return true;
    unsigned digit = 0;
    while (seconds.digit_count < most_digits && take_number(text, 1, digit))
        seconds.digits[seconds.digit_count++] = static_cast<char>('0' + digit);
    return seconds.digit_count > 0;
}

} // namespace

Temporal temporal_class(const Format &format) {
    std::array<char, 32> upper{};
    if (format.name.empty() || format.name.size() > upper.size())
        return Temporal::none;
    std::transform(format.name.begin(), format.name.end(), upper.begin(), [](char c) { return upper_case(c); });
    const std::string_view name(upper.data(), format.name.size());
    for (const FormatRule &rule : format_rules) {
        if (matches(rule, name))
            return rule.kind;
    }
    return Temporal::none;
}

size_t write_iso(Temporal kind, double value, char *buffer) {
    if (value == 0 && std::signbit(value))
        return 0;
    switch (kind) {
    case Temporal::date:
        return write_date(value, buffer);
    case Temporal::date_time:
        return write_date_time(value, buffer);
    case Temporal::time:
        return write_time(value, buffer);
    case Temporal::none:
        break;
    }
    return 0;
}

std::optional<std::string> iso_text(Temporal kind, double value) {
    std::array<char, iso_text_max_bytes> text;
    const size_t bytes = write_iso(kind, value, text.data());
    if (bytes == 0)
        return std::nullopt;
    return std::string(text.data(), bytes);
}

std::optional<double> parse_iso(Temporal kind, std::string_view text) {
    int64_t day = 0;
    Seconds seconds;
    const bool with_date = kind == Temporal::date || kind == Temporal::date_time;
    const bool with_time = kind == Temporal::time || kind == Temporal::date_time;
    if (kind == Temporal::none || (with_date && !take_date(text, day)) ||
        (kind == Temporal::date_time && !take(text, 'T')) || (with_time && !take_time(text, seconds)) || !text.empty())
        return std::nullopt;
    if (kind == Temporal::date)
        return static_cast<double>(day);
    seconds.whole += day * day_seconds;
    return join(seconds);
}

} // namespace vor
