// Dates, date-times and times of day: which formats show them, and their text after ISO 8601.
#pragma once

#include <vorhost/dataset.h>

#include <optional>
#include <string>
#include <string_view>

namespace vor {

enum class Temporal {
    none,
    date,      // days since 1960-01-01
    date_time, // seconds since 1960-01-01 00:00
    time,      // seconds since midnight
};

// What a display format shows.
Temporal temporal_class(const Format &format);

// "2000-02-29", "2000-02-29T12:34:56.789", "12:34:56". Fractions of a second in the shortest form that reads back to
// the same double; a date with a fraction, a time outside 00:00:00 to 23:59:59.999..., or a year outside 1 to 9999
// gives nothing: the value stays a number.
std::optional<std::string> iso_text(Temporal kind, double value);

// The inverse; nothing for a text that is not exactly in that form or not a real date.
std::optional<double> parse_iso(Temporal kind, std::string_view text);

} // namespace vor
