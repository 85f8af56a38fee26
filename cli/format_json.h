// User formats as JSON.
#pragma once

#include "json_text.h"

#include <vorhost/user_format.h>

namespace vor::cli {

// An array of {"value": 1, "text": "yes"} in the order of the catalog. A missing value is its mark, ".a"; an interval
// has its other end as "to"; every label after the first of a multilabel format is an object of its own.
void add_ranges(JsonText &json, const UserFormat &format);

} // namespace vor::cli
