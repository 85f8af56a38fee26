#include "user_labels.h"

namespace vor::cli {

const UserFormat *format_of(const Variable &variable, const FormatLookup &formats) {
    return variable.format.name.empty() ? nullptr : formats(variable.format.name);
}

std::string value_text(const FormatValue &value) {
    const auto *number = std::get_if<double>(&value);
    return number ? number_text(*number) : std::get<std::string>(value);
}

std::string range_text(const FormatRange &range) {
    const std::string start = value_text(range.start);
    return is_single(range) ? start : start + " to " + value_text(range.end);
}

} // namespace vor::cli
