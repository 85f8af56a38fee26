// What a user format shows for a value.
#pragma once

#include <vorhost/user_format.h>

#include <string>

namespace vor::cli {

// The (first) label of a number or missing value; null when the format has none for it.
const std::string *label_of(const UserFormat &format, double value);

// A format's value as people write it: "1", ".a", "abc".
std::string value_text(const FormatValue &value);

// True when both ends of a range are the same value.
bool is_single(const FormatRange &range);

// "1", or "1 to 5".
std::string range_text(const FormatRange &range);

} // namespace vor::cli
