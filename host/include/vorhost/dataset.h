// A data set as the host describes it: its variables with names, labels, types and formats. All texts are UTF-8.
#pragma once

#include <vorhost/user_format.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

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

// How a Stata file stores a variable.
enum class StoredType {
    unknown,
    int8,
    int16,
    int32,
    float32,
    float64,
    text,      // of a fixed number of bytes
    long_text, // of any number
};

struct Variable {
    std::string name;
    std::string label;
    ValueKind kind = ValueKind::numeric;
    int length = 8; // bytes: 8 for numbers, the longest text for characters, at least 1
    Format format;
    Format informat;
    std::string stata_format = {}; // display format of the Stata file, to the letter; empty: not known
    StoredType stored = StoredType::unknown;
    std::string label_table = {}; // name of the table of its value labels; empty: none, or that of its format

    bool operator==(const Variable &) const = default;
};

// "byte", "int", "long", "float", "double", "strL" or, for a text, "str" and its length; empty for unknown.
std::string stored_type_text(const Variable &variable);

// Sets stored, and length for a text, from such a word; false for a word that is none.
bool set_stored_type(Variable &variable, std::string_view word);

// The name under which the variable's labels are found; empty: it has none.
const std::string &labels_name(const Variable &variable);

// A note or another text that belongs to the data set or to a variable.
struct Characteristic {
    std::string of; // "_dta", or the variable's name
    std::string name;
    std::string text;

    bool operator==(const Characteristic &) const = default;
};

struct DataSet {
    std::string name;
    std::string label;
    std::vector<Variable> variables;
    int64_t observations = -1; // -1: not known
    std::string timestamp = {};
    std::vector<std::string> sort = {}; // names of the variables by which it is sorted
    std::vector<Characteristic> characteristics = {};
    std::vector<UserFormat> label_tables = {}; // of a Stata file, those that no variable uses too

    bool operator==(const DataSet &) const = default;
};

} // namespace vor
