// Dates, date-times and times of day: which formats show them, and their text after ISO 8601.
#pragma once

#include <vorhost/dataset.h>

#include <cstddef>
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

// What a display format shows. Formats that show only a part of a date (YEAR, QTR) are formats of dates. Letter case
// does not count.
Temporal temporal_class(const Format &format);

// "2000-02-29", "2000-02-29T12:34:56.789", "12:34:56". Fractions of a second in the shortest form that reads back to
// the same double. Nothing, so that the value stays a number, for a date with a fraction, a time outside 00:00:00 to
// 23:59:59.999..., a year outside 1 to 9999, a fraction of more than 18 digits, a missing value and -0.
std::optional<std::string> iso_text(Temporal kind, double value);

// The same into the caller's buffer of at least iso_text_max_bytes. The bytes written; 0 for no text.
inline constexpr size_t iso_text_max_bytes = 40;
size_t write_iso(Temporal kind, double value, char *buffer);

// The inverse, to the same bits; nothing for a text that is not exactly in that form or not a real date. A fraction may
// have 1 to 18 digits.
std::optional<double> parse_iso(Temporal kind, std::string_view text);

} // namespace vor
