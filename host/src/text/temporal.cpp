// Dates, periods, moments and times: which formats show them, and ISO 8601. Fractions of a second go through decimal
// digits and never through arithmetic in binary, so that a text gives back the very bits it was made from.
#include <vor/stata_layout.h>
#include <vorhost/ascii.h>
#include <vorhost/missing.h>
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
constexpr int year_zero = 1960;
constexpr int first_year = 1;
constexpr int last_year = 9999;
constexpr int64_t first_day = (std::chrono::sys_days{std::chrono::year{first_year} / 1 / 1} - day_zero).count();
constexpr int64_t last_day = (std::chrono::sys_days{std::chrono::year{last_year} / 12 / 31} - day_zero).count();
constexpr int64_t day_seconds = 86400;
constexpr size_t most_digits = 18;

constexpr int64_t day_of(int year, unsigned month, unsigned day) {
    return (std::chrono::sys_days{std::chrono::year{year} / static_cast<int>(month) / static_cast<int>(day)} - day_zero)
        .count();
}

// The days at whose end a second was put in.
constexpr std::array leap_days = {
    day_of(1972, 6, 30),  day_of(1972, 12, 31), day_of(1973, 12, 31), day_of(1974, 12, 31), day_of(1975, 12, 31),
    day_of(1976, 12, 31), day_of(1977, 12, 31), day_of(1978, 12, 31), day_of(1979, 12, 31), day_of(1981, 6, 30),
    day_of(1982, 6, 30),  day_of(1983, 6, 30),  day_of(1985, 6, 30),  day_of(1987, 12, 31), day_of(1989, 12, 31),
    day_of(1990, 12, 31), day_of(1992, 6, 30),  day_of(1993, 6, 30),  day_of(1994, 6, 30),  day_of(1995, 12, 31),
    day_of(1997, 6, 30),  day_of(1998, 12, 31), day_of(2005, 12, 31), day_of(2008, 12, 31), day_of(2012, 6, 30),
    day_of(2015, 6, 30),  day_of(2016, 12, 31),
};
static_assert(leap_days.size() == 27);

constexpr int64_t floor_quotient(int64_t value, int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// Periods of equal length in months, and weeks, of which a year has 52 whatever its length.
struct Period {
    Temporal kind;
    int a_year;
    unsigned months; // of one; 0 for weeks
};
constexpr Period periods[] = {
    {Temporal::week, 52, 0},     {Temporal::month, 12, 1}, {Temporal::quarter, 4, 3},
    {Temporal::half_year, 2, 6}, {Temporal::year, 1, 12},
};
constexpr int week_days = 7;

const Period *period_of(Temporal kind) {
    const auto *found = std::find_if(std::begin(periods), std::end(periods),
                                     [kind](const Period &period) { return period.kind == kind; });
    return found == std::end(periods) ? nullptr : found;
}

// Years count themselves, all other periods from 1960.
int64_t base_of(const Period &period) {
    return period.kind == Temporal::year ? 0 : year_zero;
}

// number: of a period in the years 0 to 9999.
int64_t first_day_of(const Period &period, int64_t number) {
    const int64_t year = base_of(period) + floor_quotient(number, period.a_year);
    const auto in_year = static_cast<unsigned>(number - floor_quotient(number, period.a_year) * period.a_year);
    const int64_t january = day_of(static_cast<int>(year), 1, 1);
    return period.months == 0 ? january + int64_t{in_year} * week_days
                              : day_of(static_cast<int>(year), 1 + in_year * period.months, 1);
}

int64_t period_holding(const Period &period, int64_t day) {
    const std::chrono::year_month_day date{day_zero + std::chrono::days{day}};
    const int year = static_cast<int>(date.year());
    const int64_t in_year = period.months == 0
                                ? std::min<int64_t>((day - day_of(year, 1, 1)) / week_days, period.a_year - 1)
                                : (static_cast<unsigned>(date.month()) - 1) / period.months;
    return (year - base_of(period)) * period.a_year + in_year;
}

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

// A number as the whole one at or before it and the decimal digits of what is left, the last of which is not 0.
struct Decimal {
    int64_t whole = 0;
    std::array<char, most_digits> digits{};
    size_t digit_count = 0;
};

// Turns decimal digits of a fraction into those of one minus it.
void complement(Decimal &decimal) {
    for (size_t i = 0; i < decimal.digit_count; ++i)
        decimal.digits[i] = static_cast<char>('0' + '9' - decimal.digits[i]);
    if (decimal.digit_count != 0)
        ++decimal.digits[decimal.digit_count - 1];
}

// value: within 2^62. False when the fraction has too many digits.
bool split(double value, Decimal &decimal) {
    decimal.whole = static_cast<int64_t>(std::floor(value));
    if (static_cast<double>(decimal.whole) == value)
        return true;
    std::array<char, 64> text;
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), std::fabs(value), std::chars_format::fixed);
    if (error != std::errc{})
        return false;
    const char *const fraction = std::find(text.data(), end, '.') + 1;
    decimal.digit_count = static_cast<size_t>(end - fraction);
    if (decimal.digit_count > most_digits)
        return false;
    memcpy(decimal.digits.data(), fraction, decimal.digit_count);
    if (value < 0) {
        const int64_t magnitude = static_cast<int64_t>(std::fabs(value));
        decimal.whole = -magnitude - 1;
        complement(decimal);
    }
    return true;
}

void drop_trailing_zeros(Decimal &decimal) {
    while (decimal.digit_count > 0 && decimal.digits[decimal.digit_count - 1] == '0')
        --decimal.digit_count;
}

// The inverse of split.
double join(Decimal decimal) {
    drop_trailing_zeros(decimal);
    if (decimal.digit_count == 0)
        return static_cast<double>(decimal.whole);
    const bool negative = decimal.whole < 0;
    if (negative) {
        decimal.whole = -decimal.whole - 1;
        complement(decimal);
    }
    std::array<char, 64> text;
    char *end = std::to_chars(text.data(), text.data() + text.size(), decimal.whole).ptr;
    *end++ = '.';
    memcpy(end, decimal.digits.data(), decimal.digit_count);
    end += decimal.digit_count;
    double value = 0;
    std::from_chars(text.data(), end, value);
    return negative ? -value : value;
}

constexpr int64_t second_milliseconds = 1000;
constexpr size_t millisecond_digits = 3;

// Milliseconds as seconds. False when the fraction gets too many digits.
bool to_seconds(Decimal &decimal) {
    const int64_t seconds = floor_quotient(decimal.whole, second_milliseconds);
    if (decimal.digit_count + millisecond_digits > most_digits)
        return false;
    std::copy_backward(decimal.digits.begin(), decimal.digits.begin() + static_cast<ptrdiff_t>(decimal.digit_count),
                       decimal.digits.begin() + static_cast<ptrdiff_t>(decimal.digit_count + millisecond_digits));
    put_digits(decimal.digits.data(), static_cast<unsigned>(decimal.whole - seconds * second_milliseconds),
               static_cast<int>(millisecond_digits));
    decimal.whole = seconds;
    decimal.digit_count += millisecond_digits;
    drop_trailing_zeros(decimal);
    return true;
}

// The inverse of to_seconds.
void to_milliseconds(Decimal &decimal) {
    for (size_t i = 0; i < millisecond_digits; ++i)
        decimal.whole = decimal.whole * 10 + (i < decimal.digit_count ? decimal.digits[i] - '0' : 0);
    const size_t taken = std::min(decimal.digit_count, millisecond_digits);
    std::copy(decimal.digits.begin() + static_cast<ptrdiff_t>(taken),
              decimal.digits.begin() + static_cast<ptrdiff_t>(decimal.digit_count), decimal.digits.begin());
    decimal.digit_count -= taken;
}

// The first second of a leap clock behind the leap second at the end of leap_days[i].
int64_t behind_leap(size_t i) {
    return (leap_days[i] + 1) * day_seconds + static_cast<int64_t>(i) + 1;
}

// Takes the leap seconds out of the seconds of a leap clock. Inside one, the second before it, and true.
bool drop_leap_seconds(int64_t &seconds) {
    for (size_t i = leap_days.size(); i-- > 0;) {
        const int64_t behind = behind_leap(i);
        if (seconds >= behind) {
            seconds -= static_cast<int64_t>(i) + 1;
            return false;
        }
        if (seconds == behind - 1) {
            seconds -= static_cast<int64_t>(i) + 1;
            return true;
        }
    }
    return false;
}

// The inverse; in_leap: of the second behind this one, which must be a leap second. False when it is none.
bool add_leap_seconds(int64_t &seconds, bool in_leap) {
    const int64_t day = floor_quotient(seconds, day_seconds);
    const auto *next = std::lower_bound(leap_days.begin(), leap_days.end(), day);
    const bool last_of_leap_day =
        next != leap_days.end() && *next == day && seconds - day * day_seconds == day_seconds - 1;
    if (in_leap && !last_of_leap_day)
        return false;
    seconds += (next - leap_days.begin()) + (in_leap ? 1 : 0);
    return true;
}

char *put_time(char *out, int64_t second_of_day, bool in_leap, const Decimal &seconds) {
    const auto second = static_cast<unsigned>(second_of_day);
    out = put_digits(out, second / 3600, 2);
    *out++ = ':';
    out = put_digits(out, second / 60 % 60, 2);
    *out++ = ':';
    out = put_digits(out, second % 60 + (in_leap ? 1 : 0), 2);
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

size_t write_period(const Period &period, double value, char *buffer) {
    const int64_t base = base_of(period);
    if (!(value >= static_cast<double>((first_year - base) * period.a_year) &&
          value < static_cast<double>((last_year + 1 - base) * period.a_year)))
        return 0;
    const auto number = static_cast<int64_t>(value);
    if (static_cast<double>(number) != value)
        return 0;
    return static_cast<size_t>(put_date(buffer, first_day_of(period, number)) - buffer);
}

bool counts_milliseconds(Temporal kind) {
    return kind == Temporal::clock || kind == Temporal::leap_clock || kind == Temporal::time_of_day;
}

size_t write_date_time(Temporal kind, double value, char *buffer) {
    const int64_t scale = counts_milliseconds(kind) ? second_milliseconds : 1;
    const int64_t leaps = kind == Temporal::leap_clock ? static_cast<int64_t>(leap_days.size()) : 0;
    const auto first = static_cast<double>(first_day * day_seconds * scale);
    const auto end = static_cast<double>(((last_day + 1) * day_seconds + leaps) * scale);
    Decimal seconds;
    if (!(value >= first && value < end) || !split(value, seconds) || (scale != 1 && !to_seconds(seconds)))
        return 0;
    const bool in_leap = kind == Temporal::leap_clock && drop_leap_seconds(seconds.whole);
    const int64_t day = floor_quotient(seconds.whole, day_seconds);
    char *out = put_date(buffer, day);
    *out++ = 'T';
    return static_cast<size_t>(put_time(out, seconds.whole - day * day_seconds, in_leap, seconds) - buffer);
}

size_t write_time(Temporal kind, double value, char *buffer) {
    const bool milliseconds = counts_milliseconds(kind);
    Decimal seconds;
    const int64_t end = day_seconds * (milliseconds ? second_milliseconds : 1);
    if (!(value >= 0 && value < static_cast<double>(end)))
        return milliseconds ? write_date_time(Temporal::clock, value, buffer) : 0;
    if (!split(value, seconds) || (milliseconds && !to_seconds(seconds)))
        return 0;
    return static_cast<size_t>(put_time(buffer, seconds.whole, false, seconds) - buffer);
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

// in_leap: whether the second is 60, which then counts as 59.
bool take_time(std::string_view &text, Decimal &seconds, bool &in_leap) {
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    if (!take_number(text, 2, hour) || !take(text, ':') || !take_number(text, 2, minute) || !take(text, ':') ||
        !take_number(text, 2, second) || hour > 23 || minute > 59 || second > 60)
        return false;
    in_leap = second == 60;
    seconds.whole = hour * 3600 + minute * 60 + second - (in_leap ? 1 : 0);
    if (!take(text, '.'))
        return true;
    unsigned digit = 0;
    while (seconds.digit_count < most_digits && take_number(text, 1, digit))
        seconds.digits[seconds.digit_count++] = static_cast<char>('0' + digit);
    return seconds.digit_count > 0;
}

std::optional<Moment> parse_date(Temporal kind, std::string_view text) {
    int64_t day = 0;
    if (!take_date(text, day) || !text.empty())
        return std::nullopt;
    const Period *period = period_of(kind);
    if (period == nullptr)
        return Moment{static_cast<double>(day)};
    const int64_t number = period_holding(*period, day);
    return Moment{static_cast<double>(number), first_day_of(*period, number) != day};
}

std::optional<Moment> parse_clock(Temporal kind, std::string_view text) {
    int64_t day = 0;
    Decimal seconds;
    bool in_leap = false;
    const bool time_only = kind == Temporal::time || (kind == Temporal::time_of_day && text.find('T') == text.npos);
    if (!time_only && (!take_date(text, day) || !take(text, 'T')))
        return std::nullopt;
    if (!take_time(text, seconds, in_leap) || !text.empty() || (in_leap && kind != Temporal::leap_clock))
        return std::nullopt;
    seconds.whole += day * day_seconds;
    if (kind == Temporal::leap_clock && !add_leap_seconds(seconds.whole, in_leap))
        return std::nullopt;
    if (counts_milliseconds(kind))
        to_milliseconds(seconds);
    return Moment{join(seconds)};
}

// A period as the day it begins with, or the period of a day, whatever the year: the calendar repeats itself. Nothing
// for what is no whole number, or too large to count days.
std::optional<Moment> period_and_day(const Period &period, double value, bool to_day) {
    constexpr double farthest = 1e12;
    constexpr int64_t cycle_years = 400;
    constexpr int64_t cycle_days = 146097;
    const int64_t cycle_periods = cycle_years * period.a_year;
    if (!(std::fabs(value) <= farthest) || value != std::trunc(value) || (value == 0 && std::signbit(value)))
        return std::nullopt;
    const auto number = static_cast<int64_t>(value);
    const int64_t cycles = floor_quotient(number, to_day ? cycle_periods : cycle_days);
    if (to_day)
        return Moment{static_cast<double>(first_day_of(period, number - cycles * cycle_periods) + cycles * cycle_days)};
    const int64_t day = number - cycles * cycle_days;
    const int64_t held = period_holding(period, day);
    return Moment{static_cast<double>(held + cycles * cycle_periods), first_day_of(period, held) != day};
}

// Seconds that are whole milliseconds, as nearly all are, become just these.
double seconds_to_milliseconds(double seconds) {
    const double nearest = std::nearbyint(seconds * second_milliseconds);
    return nearest / second_milliseconds == seconds ? nearest : seconds * second_milliseconds;
}

} // namespace

Temporal stata_temporal(std::string_view stata_format) {
    switch (find_unit(stata_format.data(), static_cast<int64_t>(stata_format.size()))) {
    case UNIT_NONE:
    case UNIT_CALENDAR:
        return Temporal::none;
    case UNIT_DAYS:
        return Temporal::date;
    case UNIT_WEEKS:
        return Temporal::week;
    case UNIT_MONTHS:
        return Temporal::month;
    case UNIT_QUARTERS:
        return Temporal::quarter;
    case UNIT_HALF_YEARS:
        return Temporal::half_year;
    case UNIT_YEARS:
        return Temporal::year;
    case UNIT_CLOCK:
        return Temporal::clock;
    case UNIT_LEAP_CLOCK:
        return Temporal::leap_clock;
    case UNIT_TIME_OF_DAY:
        return Temporal::time_of_day;
    }
    return Temporal::none;
}

Temporal temporal_class(const Variable &variable) {
    if (variable.kind != ValueKind::numeric)
        return Temporal::none;
    return variable.stata_format.empty() ? temporal_class(variable.format) : stata_temporal(variable.stata_format);
}

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
    case Temporal::none:
        return 0;
    case Temporal::date:
        return write_date(value, buffer);
    case Temporal::date_time:
    case Temporal::clock:
    case Temporal::leap_clock:
        return write_date_time(kind, value, buffer);
    case Temporal::time:
    case Temporal::time_of_day:
        return write_time(kind, value, buffer);
    default:
        return write_period(*period_of(kind), value, buffer);
    }
}

std::optional<std::string> iso_text(Temporal kind, double value) {
    std::array<char, iso_text_max_bytes> text;
    const size_t bytes = write_iso(kind, value, text.data());
    if (bytes == 0)
        return std::nullopt;
    return std::string(text.data(), bytes);
}

std::optional<Moment> parse_moment(Temporal kind, std::string_view text) {
    if (kind == Temporal::none)
        return std::nullopt;
    return kind == Temporal::date || period_of(kind) != nullptr ? parse_date(kind, text) : parse_clock(kind, text);
}

std::optional<double> parse_iso(Temporal kind, std::string_view text) {
    const auto moment = parse_moment(kind, text);
    return moment ? std::optional(moment->value) : std::nullopt;
}

bool in_leap_second(Temporal kind, double value) {
    if (kind != Temporal::leap_clock)
        return false;
    const double second = std::floor(value / second_milliseconds);
    for (size_t i = 0; i < leap_days.size(); ++i) {
        if (second == static_cast<double>(behind_leap(i) - 1))
            return true;
    }
    return false;
}

std::optional<Moment> converted(Temporal from, double value, Temporal to) {
    const auto pair = std::pair(from, to);
    if (from == to)
        return Moment{value};
    if (pair == std::pair(Temporal::date_time, Temporal::clock) ||
        pair == std::pair(Temporal::time, Temporal::time_of_day))
        return Moment{seconds_to_milliseconds(value)};
    if (pair == std::pair(Temporal::clock, Temporal::date_time) ||
        pair == std::pair(Temporal::time_of_day, Temporal::time))
        return Moment{value / second_milliseconds};
    if (const Period *period = period_of(to == Temporal::date ? from : to);
        period && (from == Temporal::date || to == Temporal::date))
        return period_and_day(*period, value, to == Temporal::date);
    std::array<char, iso_text_max_bytes> text;
    return parse_moment(to, std::string_view(text.data(), write_iso(from, value, text.data())));
}

double in_unit(Temporal from, Temporal to, double value) {
    if (from == to || to == Temporal::none || is_missing(value))
        return value;
    const std::optional<Moment> moment = converted(from, value, to);
    return moment ? moment->value : missing_value('.');
}

Temporal stored_unit(Temporal unit) {
    return unit == Temporal::date_time ? Temporal::clock : unit == Temporal::time ? Temporal::time_of_day : unit;
}

} // namespace vor
