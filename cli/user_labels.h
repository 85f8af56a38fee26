// User formats as people read them.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/tables.h>
#include <vorhost/user_format.h>

#include <string>

namespace vor::cli {

// The user format that a variable has; null for none.
const UserFormat *format_of(const Variable &variable, const FormatLookup &formats);

// A format's value as people write it: "1", ".a", "abc".
std::string value_text(const FormatValue &value);

// "1", or "1 to 5".
std::string range_text(const FormatRange &range);

} // namespace vor::cli
