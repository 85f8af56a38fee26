#include "jobs/export_labels.h"

#include <vor/stata_layout.h>
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <cmath>
#include <fmt/format.h>

namespace vor {
namespace {

constexpr double smallest_label_value = SMALLEST_LONG;
constexpr double largest_label_value = LARGEST_LONG;

// Why a range of a numeric format is not written; null when it is.
const char *obstacle(const FormatRange &range) {
    const auto *start = std::get_if<double>(&range.start);
    if (!start || !is_single(range))
        return "an interval";
    if (is_missing(*start))
        return missing_mark(*start) == '_' ? "the missing value ._" : nullptr;
    if (*start != std::trunc(*start))
        return "a value that is not an integer";
    return *start < smallest_label_value || *start > largest_label_value ? "a value out of range" : nullptr;
}

void note_lost_ranges(const Variable &variable, const UserFormat &format,
                      const std::function<void(const std::string &)> &note) {
    for (const FormatRange &range : format.ranges)
        if (const char *reason = obstacle(range))
            note(fmt::format("variable {}: the label \"{}\" of format {} stands for {} and is not written as such.",
                             variable.name, range.labels.empty() ? "" : range.labels.front(), format.name, reason));
}

// Why no label of the format is written; null when they are.
const char *obstacle(const Variable &variable, const UserFormat &format) {
    if (variable.kind == ValueKind::character || format.kind == ValueKind::character)
        return "a Stata file has labels for numbers only";
    if (temporal_class(variable.format) != Temporal::none)
        return "a format of that name shows dates or times";
    if (format.multilabel)
        return "its values have several labels";
    return nullptr;
}

} // namespace

void note_lost_labels(const std::vector<Variable> &variables, FormatCatalogs &catalogs, const std::string &library,
                      const std::string &catalog, const std::function<void(const std::string &)> &note) {
    for (const Variable &variable : variables) {
        UserFormat format;
        if (variable.format.name.empty() || !catalogs.read(library, catalog, variable.format.name, format))
            continue;
        if (const char *reason = obstacle(variable, format))
            note(fmt::format("variable {}: the labels of format {} are not written: {}.", variable.name, format.name,
                             reason));
        else
            note_lost_ranges(variable, format, note);
    }
}

} // namespace vor
