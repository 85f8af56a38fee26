// What the values of a column have in common, where nothing but the values says it: in delimited text and in plain
// tables of other programs.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/temporal.h>

#include <cstdint>
#include <string_view>

namespace vor {

enum class ColumnKind : uint8_t { unknown, number, date, date_time, time, text };

// Temporal::none for what is neither date nor time.
Temporal temporal_of(ColumnKind kind);

// The kind of date or time that the text is one of; text when it is none.
ColumnKind kind_of_text(std::string_view text);

// The unit of raw numbers: days for dates and periods, seconds for moments and times.
Temporal raw_unit(Temporal kind);

// The display format of a column: ISO 8601 for dates and times, else none.
Format format_of(ColumnKind kind);

} // namespace vor
