// Dates, moments and times of day: which formats show them, what their numbers count, and their text after ISO 8601.
#pragma once

#include <vorhost/dataset.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vor {

// What the numbers of a variable count. Years are those of the proleptic Gregorian calendar; everything but years and
// times of day counts from 1960-01-01 00:00 and reaches back below 0.
enum class Temporal {
    none,
    date,      // days
    date_time, // seconds
    time,      // seconds since midnight
    week,      // 52 a year from 1 January on, the last one longer
    month,
    quarter,
    half_year,
    year,        // of the calendar
    clock,       // milliseconds
    leap_clock,  // milliseconds, the 27 leap seconds of 1972 to 2016 counted
    time_of_day, // milliseconds since midnight; outside one day a clock
};

// What a variable's values are: by the Stata format where it has one, else by the display format.
Temporal temporal_class(const Variable &variable);

// What a display format shows. Formats that show only a part of a date (YEAR, QTR) are formats of dates. Letter case
// does not count.
Temporal temporal_class(const Format &format);

// What a Stata display format shows: "%td", "%-tmMonth_CCYY", "%d", "%tcHH:MM:SS". Business calendars and generic dates
// are none.
Temporal stata_temporal(std::string_view stata_format);

// "2000-02-29", "2000-02-29T12:34:56.789", "12:34:56"; a period is the date of its first day, a moment in a leap second
// has the second 60. Fractions of a second in the shortest form that reads back to the same double. Nothing, so that
// the value stays a number, for a date or period with a fraction, a time (in seconds) outside one day, a year outside 1
// to 9999, a fraction of more than 18 digits, a missing value and -0.
std::optional<std::string> iso_text(Temporal kind, double value);

// The same into the caller's buffer of at least iso_text_max_bytes. The bytes written; 0 for no text.
inline constexpr size_t iso_text_max_bytes = 40;
size_t write_iso(Temporal kind, double value, char *buffer);

struct Moment {
    double value = 0;
    bool inside = false; // of a period: the date is not its first day, which is what comes back
};

// The inverse, to the same bits; nothing for a text that is not exactly in that form or not a real date. A fraction may
// have 1 to 18 digits.
std::optional<Moment> parse_moment(Temporal kind, std::string_view text);
std::optional<double> parse_iso(Temporal kind, std::string_view text);

// Whether a value lies inside a leap second, for which few programs have a name.
bool in_leap_second(Temporal kind, double value);

// The same moment or day in another unit, as exact as a double allows: nothing between kinds that have nothing to do
// with each other, and for a value that has no text, but a period or day outside the
// calendar becomes the day or period that it would be. inside: as with parse_moment.
std::optional<Moment> converted(Temporal from, double value, Temporal to);

// A number, or a missing value, in another unit; missing when that has no such moment. Where values have no unit they
// stay plain numbers.
double in_unit(Temporal from, Temporal to, double value);

// The unit in which a Stata file stores values whose display format is still to be chosen.
Temporal stored_unit(Temporal unit);

} // namespace vor
