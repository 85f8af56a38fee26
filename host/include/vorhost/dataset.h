// A data set as the host describes it: its variables with names, labels, types and formats. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

enum class ValueKind { numeric, character };

// "numeric" or "character", as it stands wherever a description is written down, and back: nothing for another word.
const char *kind_name(ValueKind kind);
std::optional<ValueKind> kind_of_name(std::string_view name);

// A display or input format. An empty name means the standard format of that width and decimals.
struct Format {
    std::string name; // such as MMDDYY, $, DATETIME or a user format's name, without width; at most 8 bytes
    int width = 0;
    int decimals = 0;

    bool operator==(const Format &) const = default;
};

// A format as people write it: "MMDDYY8.", "9.2", "$10.", "AGE."; empty for no name and no width.
std::string format_text(const Format &format);

// The inverse of format_text for every format whose name does not end in a digit; digits before the full stop are the
// width. A text that is no format gives an empty one. Names longer than 32 bytes are no formats.
Format parse_format(std::string_view text);

struct Variable {
    std::string name;
    std::string label;
    ValueKind kind = ValueKind::numeric;
    int length = 8; // bytes: 8 for numbers, the longest text for characters, at least 1
    Format format;
    Format informat;
    std::string stata_format = {}; // display format of the Stata file, to the letter; empty: not known

    bool operator==(const Variable &) const = default;
};

struct DataSet {
    std::string name;
    std::string label;
    std::vector<Variable> variables;
    int64_t observations = -1; // -1: not known

    bool operator==(const DataSet &) const = default;
};

} // namespace vor
