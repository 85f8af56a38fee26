// Moments between the units of Stata files, which count from 1960, and the nanoseconds that numpy counts from 1970.
#pragma once

#include <vorhost/temporal.h>

#include <cstdint>
#include <limits>
#include <optional>

namespace vor::python {

inline constexpr int64_t not_a_time = std::numeric_limits<int64_t>::min(); // how numpy writes a missing moment
inline constexpr int64_t origin_days = 3653;                               // from 1960-01-01 to 1970-01-01
inline constexpr int64_t millisecond_ns = 1'000'000;
inline constexpr int64_t day_milliseconds = 86'400'000;

// Nothing for what int64 nanoseconds do not reach, and for what is no moment. A time of day counts from midnight.
std::optional<int64_t> nanoseconds(Temporal unit, double value);

// The inverse. inside: as Moment has it. Nothing where the unit has no such moment.
std::optional<Moment> of_nanoseconds(Temporal unit, int64_t count);

} // namespace vor::python
