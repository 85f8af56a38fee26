#include "tables/arrow_types.h"

#include <vorhost/ascii.h>

#include <bit>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <unordered_set>

namespace vor {
namespace {

constexpr int64_t days_to_1970 = 3653; // from 1960
constexpr int64_t day_milliseconds = 86400000;
constexpr double largest_exact = 0x1p53;

// What a form counts, and from where.
struct MomentForm {
    ArrowForm form;
    Temporal unit;
    int64_t origin; // of the form, in the unit
    int64_t least, most;
};
constexpr MomentForm moment_forms[] = {
    {ArrowForm::date32, Temporal::date, days_to_1970, std::numeric_limits<int32_t>::min(),
     std::numeric_limits<int32_t>::max()},
    {ArrowForm::timestamp_ms, Temporal::clock, days_to_1970 *day_milliseconds, -(int64_t{1} << 53), int64_t{1} << 53},
    {ArrowForm::time32_ms, Temporal::time_of_day, 0, 0, day_milliseconds - 1},
};

const MomentForm *row_of(ArrowForm form) {
    for (const MomentForm &row : moment_forms)
        if (row.form == form)
            return &row;
    return nullptr;
}

} // namespace

const char *arrow_format(ArrowForm form) {
    constexpr const char *formats[] = {"c", "s", "i", "f", "g", "u", "U", "Z", "tdD", "tsm:", "ttm"};
    return formats[static_cast<size_t>(form)];
}

std::optional<ArrowForm> moment_form(Temporal unit) {
    switch (unit) {
    case Temporal::none:
        return std::nullopt;
    case Temporal::date_time:
    case Temporal::clock:
    case Temporal::leap_clock:
        return ArrowForm::timestamp_ms;
    case Temporal::time:
    case Temporal::time_of_day:
        return ArrowForm::time32_ms;
    default:
        return ArrowForm::date32;
    }
}

std::optional<int64_t> arrow_moment(ArrowForm form, Temporal unit, double value) {
    const MomentForm &row = *row_of(form);
    const auto moment = converted(unit, value, row.unit);
    if (!moment || moment->value != std::trunc(moment->value) || std::fabs(moment->value) > largest_exact)
        return std::nullopt;
    const int64_t count = static_cast<int64_t>(moment->value) - row.origin;
    if (count < row.least || count > row.most)
        return std::nullopt;
    const auto back = moment_of_arrow(form, count, unit);
    if (!back || std::bit_cast<uint64_t>(back->value) != std::bit_cast<uint64_t>(value))
        return std::nullopt;
    return count;
}

std::optional<Moment> moment_of_arrow(ArrowForm form, int64_t count, Temporal unit) {
    const MomentForm &row = *row_of(form);
    return converted(row.unit, static_cast<double>(count + row.origin), unit);
}

std::vector<std::string> arrow_names(const std::vector<Variable> &variables) {
    std::vector<std::string> names;
    std::unordered_set<std::string> taken;
    for (const Variable &variable : variables) {
        std::string name = variable.name;
        for (int number = 2; !taken.insert(lower_case(name)).second; ++number)
            name = fmt::format("{}_{}", variable.name, number);
        names.push_back(std::move(name));
    }
    return names;
}

} // namespace vor
