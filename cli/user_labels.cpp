#include "user_labels.h"

#include <vorhost/missing.h>

namespace vor::cli {
namespace {

// Missing values are equal when their marks are; as doubles they equal nothing.
bool same_value(double one, double other) {
    return missing_mark(one) == missing_mark(other) && (is_missing(one) || one == other);
}

} // namespace

const UserFormat *format_of(const Variable &variable, const FormatLookup &formats) {
    return variable.format.name.empty() ? nullptr : formats(variable.format.name);
}

std::string value_text(const FormatValue &value) {
    const auto *number = std::get_if<double>(&value);
    return number ? number_text(*number) : std::get<std::string>(value);
}

bool is_single(const FormatRange &range) {
    const auto *start = std::get_if<double>(&range.start);
    const auto *end = std::get_if<double>(&range.end);
    return start && end ? same_value(*start, *end) : range.start == range.end;
}

std::string range_text(const FormatRange &range) {
    const std::string start = value_text(range.start);
    return is_single(range) ? start : start + " to " + value_text(range.end);
}

} // namespace vor::cli
