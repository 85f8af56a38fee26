#include "frame_moments.h"

#include <cmath>

namespace vor::python {
namespace {

constexpr int64_t most_milliseconds = 9'223'372'036'854; // in either direction

// Whole milliseconds and the rest apart: together they have more digits than a double.
std::optional<int64_t> from_milliseconds(double since_1960, int64_t origin) {
    if (!(std::fabs(since_1960) <= 4.0 * most_milliseconds))
        return std::nullopt;
    auto whole = static_cast<int64_t>(since_1960);
    whole -= static_cast<double>(whole) > since_1960;
    const int64_t count = whole - origin;
    if (count >= most_milliseconds || count <= -most_milliseconds)
        return std::nullopt;
    const double rest = since_1960 - static_cast<double>(whole);
    return count * millisecond_ns + (rest == 0 ? 0 : std::llround(rest * static_cast<double>(millisecond_ns)));
}

double to_milliseconds(int64_t count, int64_t origin) {
    const int64_t rest = (count % millisecond_ns + millisecond_ns) % millisecond_ns;
    const auto whole = static_cast<double>((count - rest) / millisecond_ns + origin);
    return whole + static_cast<double>(rest) / static_cast<double>(millisecond_ns);
}

constexpr int64_t origin_milliseconds = origin_days * day_milliseconds;

} // namespace

std::optional<int64_t> nanoseconds(Temporal unit, double value) {
    switch (unit) {
    case Temporal::time_of_day:
        return from_milliseconds(value, 0);
    case Temporal::clock:
        return from_milliseconds(value, origin_milliseconds);
    case Temporal::date:
        return from_milliseconds(value * static_cast<double>(day_milliseconds), origin_milliseconds);
    case Temporal::leap_clock:
        if (const auto clock = converted(unit, value, Temporal::clock))
            return from_milliseconds(clock->value, origin_milliseconds);
        return std::nullopt;
    default:
        if (const auto day = converted(unit, value, Temporal::date))
            return nanoseconds(Temporal::date, day->value);
        return std::nullopt;
    }
}

std::optional<Moment> of_nanoseconds(Temporal unit, int64_t count) {
    const auto clock = [count] { return to_milliseconds(count, origin_milliseconds); };
    switch (unit) {
    case Temporal::time_of_day:
        return Moment{to_milliseconds(count, 0)};
    case Temporal::clock:
        return Moment{clock()};
    case Temporal::date:
        return Moment{clock() / static_cast<double>(day_milliseconds)};
    case Temporal::leap_clock:
        return converted(Temporal::clock, clock(), unit);
    default:
        return converted(Temporal::date, std::floor(clock() / static_cast<double>(day_milliseconds)), unit);
    }
}

} // namespace vor::python
