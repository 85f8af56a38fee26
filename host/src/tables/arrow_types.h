// Which Arrow type the values of a variable have, and moments as the numbers of such a type.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/temporal.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vor {

enum class ArrowForm {
    int8,
    int16,
    int32,
    float32,
    float64,
    utf8,
    large_utf8,
    large_binary,
    date32,
    timestamp_ms,
    time32_ms,
};

// As a field's format says it: "tdD".
const char *arrow_format(ArrowForm form);

// The form of moments of a unit; nothing for plain numbers.
std::optional<ArrowForm> moment_form(Temporal unit);

// A moment as Arrow counts it: days or milliseconds since 1970, or milliseconds since midnight. Nothing when the form
// does not have it, or would not give the same value back.
std::optional<int64_t> arrow_moment(ArrowForm form, Temporal unit, double value);

// The inverse. inside: as Moment has it. Nothing where the unit has no such moment.
std::optional<Moment> moment_of_arrow(ArrowForm form, int64_t count, Temporal unit);

// The names of the fields of these variables: their own, made different where they differ in letter case only.
std::vector<std::string> arrow_names(const std::vector<Variable> &variables);

} // namespace vor
