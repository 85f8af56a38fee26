#include "format_json.h"

#include "user_labels.h"

#include <vorhost/missing.h>

#include <cmath>

namespace vor::cli {
namespace {

void add_value(JsonText &json, const FormatValue &value) {
    const auto *number = std::get_if<double>(&value);
    if (number && !is_missing(*number) && std::isfinite(*number))
        json.raw_number(value_text(value));
    else
        json.string(value_text(value));
}

} // namespace

void add_ranges(JsonText &json, const UserFormat &format) {
    json.begin_array();
    for (const FormatRange &range : format.ranges)
        for (const std::string &label : range.labels) {
            json.begin_inline_object();
            json.key("value");
            add_value(json, range.start);
            if (!is_single(range)) {
                json.key("to");
                add_value(json, range.end);
            }
            json.key("text");
            json.string(label);
            json.end_object();
        }
    json.end_array();
}

} // namespace vor::cli
