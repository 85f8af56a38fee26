// Schemas as JSON: what delimited text has no place for.
//
//   {"name": "people", "label": "", "variables": [{"name": "age", "type": "numeric", "length": 8, "label": "Age",
//     "format": "AGE.", "informat": ""}], "formats": [{"name": "AGE", "type": "numeric", "multilabel": false,
//     "width": 5, "ranges": [{"value": 1, "labels": ["young"]}, {"from": 2, "to": 9, "labels": ["old"]}]}]}
//
// A value is a number, or a text: the value itself in a character format, else ".a", "inf" and the like. A format that
// its text cannot hold is an object of name, width and decimals. What a Stata file says besides stands there only where
// there is something: in a variable "stored" ("byte", "str9"), "stata_format" and "label_table", in the whole
// "timestamp", "sort" (names), "characteristics" ({"of": "_dta", "name": "note1", "text": ""}) and "label_tables",
// which look like the formats; and "raw" when the numbers of dates are days and those of moments and times seconds.
#include "files/input_file.h"
#include "files/output_file.h"

#include <vorhost/missing.h>
#include <vorhost/tables.h>

#include <array>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vor {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr size_t largest_schema_bytes = size_t{1} << 28;
constexpr int deepest_value = 16; // more than twice what a schema needs

ordered_json format_json(const Format &format) {
    std::string text = format_text(format);
    if (parse_format(text) == format)
        return text;
    return {{"name", format.name}, {"width", format.width}, {"decimals", format.decimals}};
}

ordered_json value_json(const FormatValue &value) {
    const auto *number = std::get_if<double>(&value);
    if (!number)
        return std::get<std::string>(value);
    if (std::isfinite(*number))
        return *number;
    return number_text(*number);
}

ordered_json user_format_json(const UserFormat &format) {
    ordered_json ranges = ordered_json::array();
    for (const FormatRange &range : format.ranges) {
        const ordered_json start = value_json(range.start);
        const ordered_json end = value_json(range.end);
        ordered_json entry = start == end ? ordered_json{{"value", start}} : ordered_json{{"from", start}, {"to", end}};
        entry["labels"] = range.labels;
        ranges.push_back(std::move(entry));
    }
    return {{"name", format.name},
            {"type", kind_name(format.kind)},
            {"multilabel", format.multilabel},
            {"width", format.default_width},
            {"ranges", std::move(ranges)}};
}

ordered_json user_formats_json(const std::vector<UserFormat> &formats) {
    ordered_json array = ordered_json::array();
    for (const UserFormat &format : formats)
        array.push_back(user_format_json(format));
    return array;
}

// Sets the member when there is something to say.
template <typename Value>
void put(ordered_json &object, const char *key, const Value &value) {
    if (!value.empty())
        object[key] = value;
}

ordered_json variable_json(const Variable &variable) {
    ordered_json object = {{"name", variable.name},
                           {"type", kind_name(variable.kind)},
                           {"length", variable.length},
                           {"label", variable.label},
                           {"format", format_json(variable.format)},
                           {"informat", format_json(variable.informat)}};
    put(object, "stored", stored_type_text(variable));
    put(object, "stata_format", variable.stata_format);
    put(object, "label_table", variable.label_table);
    return object;
}

ordered_json characteristics_json(const std::vector<Characteristic> &characteristics) {
    ordered_json array = ordered_json::array();
    for (const Characteristic &one : characteristics)
        array.push_back({{"of", one.of}, {"name", one.name}, {"text", one.text}});
    return array;
}

// Where in the schema something does not fit.
class Place {
  public:
    explicit Place(std::string text) : text_(std::move(text)) {}

    [[noreturn]] void refuse(const std::string &reason) const {
        throw ConversionError(Failure::conversion, fmt::format("{}: {}.", text_, reason));
    }

    Place inside(const char *key) const { return Place(fmt::format("{}, {}", text_, key)); }
    Place inside(const char *key, size_t index) const { return Place(fmt::format("{}, {} {}", text_, key, index + 1)); }

  private:
    std::string text_;
};

const json &member(const json &object, const char *key, const Place &place) {
    const auto found = object.is_object() ? object.find(key) : object.end();
    if (!object.is_object())
        place.refuse("an object was expected");
    if (found == object.end())
        place.refuse(fmt::format("the key \"{}\" is missing", key));
    return *found;
}

// Members that may be left out: their value, or null.
const json *optional_member(const json &object, const char *key) {
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

std::string text_of(const json &value, const Place &place) {
    if (!value.is_string())
        place.refuse("a text was expected");
    std::string text = value.get<std::string>();
    if (text.find('\0') != std::string::npos) // where a Stata file would end it
        place.refuse("the text holds the character \\u0000");
    return text;
}

std::string optional_text(const json &object, const char *key, const Place &place) {
    const json *found = optional_member(object, key);
    return found ? text_of(*found, place.inside(key)) : std::string();
}

int integer_of(const json &value, int least, int most, const Place &place) {
    // Signed, unsigned and floating values differ in JSON's model, not in the text people write.
    const double number = value.is_number() ? value.get<double>() : std::nan("");
    if (!(number >= least && number <= most) || number != std::floor(number))
        place.refuse(fmt::format("an integer from {} to {} was expected", least, most));
    return static_cast<int>(number);
}

const json &array_of(const json &value, const Place &place) {
    if (!value.is_array())
        place.refuse("an array was expected");
    return value;
}

// What `read` makes of each element of an array that may be left out; `name` is an element's in messages.
template <typename Read>
auto each_of(const json &object, const char *key, const char *name, const Place &place, Read read) {
    std::vector<decltype(read(object, place))> values;
    if (const json *found = optional_member(object, key)) {
        const Place whole = place.inside(key);
        for (const json &element : array_of(*found, whole))
            values.push_back(read(element, place.inside(name, values.size())));
    }
    return values;
}

bool optional_truth(const json &object, const char *key, const Place &place) {
    const json *found = optional_member(object, key);
    if (found && !found->is_boolean())
        place.inside(key).refuse("true or false was expected");
    return found && found->get<bool>();
}

ValueKind kind_of(const json &value, const Place &place) {
    const std::string text = text_of(value, place);
    if (const auto kind = kind_of_name(text))
        return *kind;
    place.refuse(fmt::format("\"{}\" is neither \"numeric\" nor \"character\"", text));
}

Format format_of(const json &object, const char *key, const Place &around) {
    constexpr int widest = 1'000'000'000;
    const json *value = optional_member(object, key);
    if (!value)
        return {};
    const Place place = around.inside(key);
    if (value->is_object())
        return {text_of(member(*value, "name", place), place),
                integer_of(member(*value, "width", place), -widest, widest, place),
                integer_of(member(*value, "decimals", place), -widest, widest, place)};
    const std::string text = text_of(*value, place);
    Format format = parse_format(text);
    if (!text.empty() && format == Format{})
        place.refuse(fmt::format("\"{}\" is no format", text));
    return format;
}

void read_stored_type(Variable &variable, const std::string &word, const Place &place) {
    if (word.empty())
        return;
    const bool known = set_stored_type(variable, word);
    const bool text = variable.stored == StoredType::text || variable.stored == StoredType::long_text;
    if (!known || text != (variable.kind == ValueKind::character))
        place.inside("stored").refuse(
            fmt::format("\"{}\" does not say how {} values are stored", word, kind_name(variable.kind)));
}

Variable variable_of(const json &object, const Place &place) {
    constexpr int longest_text = 2'000'000'000;
    Variable variable;
    variable.name = text_of(member(object, "name", place), place.inside("name"));
    variable.kind = kind_of(member(object, "type", place), place.inside("type"));
    const bool numeric = variable.kind == ValueKind::numeric;
    variable.length =
        integer_of(member(object, "length", place), 1, numeric ? 8 : longest_text, place.inside("length"));
    variable.label = optional_text(object, "label", place);
    variable.format = format_of(object, "format", place);
    variable.informat = format_of(object, "informat", place);
    variable.stata_format = optional_text(object, "stata_format", place);
    variable.label_table = optional_text(object, "label_table", place);
    if (variable.name.empty())
        place.refuse("the name is empty");
    read_stored_type(variable, optional_text(object, "stored", place), place);
    return variable;
}

FormatValue format_value_of(const json &value, ValueKind kind, const Place &place) {
    if (kind == ValueKind::character)
        return text_of(value, place);
    if (value.is_number())
        return value.get<double>();
    const auto number = value.is_string() ? parse_number_text(value.get<std::string>()) : std::nullopt;
    if (!number)
        place.refuse("a number or a missing value such as \".a\" was expected");
    return *number;
}

FormatRange range_of(const json &object, ValueKind kind, const Place &place) {
    FormatRange range;
    const json *single = object.is_object() ? optional_member(object, "value") : nullptr;
    range.start = format_value_of(single ? *single : member(object, "from", place), kind, place);
    range.end = format_value_of(single ? *single : member(object, "to", place), kind, place);
    const Place labels = place.inside("labels");
    for (const json &label : array_of(member(object, "labels", place), labels))
        range.labels.push_back(text_of(label, labels));
    if (range.labels.empty())
        place.refuse("it has no label");
    return range;
}

UserFormat user_format_of(const json &object, const Place &place) {
    UserFormat format;
    format.name = text_of(member(object, "name", place), place.inside("name"));
    format.kind = kind_of(member(object, "type", place), place.inside("type"));
    format.multilabel = optional_truth(object, "multilabel", place);
    member(object, "ranges", place);
    format.ranges = each_of(object, "ranges", "range", place,
                            [&format](const json &range, const Place &at) { return range_of(range, format.kind, at); });
    size_t longest = 0;
    for (const FormatRange &range : format.ranges) {
        for (const std::string &label : range.labels)
            longest = std::max(longest, label.size());
    }
    const json *width = optional_member(object, "width");
    format.default_width = width ? integer_of(*width, 0, 1'000'000'000, place.inside("width"))
                                 : static_cast<int>(std::min<size_t>(longest, 1'000'000'000));
    return format;
}

Characteristic characteristic_of(const json &object, const Place &place) {
    return {text_of(member(object, "of", place), place), text_of(member(object, "name", place), place),
            text_of(member(object, "text", place), place)};
}

Schema schema_of(const json &object, const Place &place) {
    Schema schema;
    DataSet &data = schema.description;
    member(object, "variables", place);
    data.name = optional_text(object, "name", place);
    data.label = optional_text(object, "label", place);
    data.variables = each_of(object, "variables", "variable", place, variable_of);
    data.timestamp = optional_text(object, "timestamp", place);
    data.sort = each_of(object, "sort", "sort", place, text_of);
    data.characteristics = each_of(object, "characteristics", "characteristic", place, characteristic_of);
    data.label_tables = each_of(object, "label_tables", "label table", place, user_format_of);
    schema.formats = each_of(object, "formats", "format", place, user_format_of);
    schema.raw = optional_truth(object, "raw", place);
    return schema;
}

} // namespace

std::string schema_json(const Schema &schema) {
    const DataSet &data = schema.description;
    ordered_json variables = ordered_json::array();
    for (const Variable &variable : data.variables)
        variables.push_back(variable_json(variable));
    ordered_json whole = {{"name", data.name}, {"label", data.label}};
    put(whole, "timestamp", data.timestamp);
    put(whole, "sort", data.sort);
    put(whole, "characteristics", characteristics_json(data.characteristics));
    if (schema.raw)
        whole["raw"] = true;
    whole["variables"] = std::move(variables);
    put(whole, "label_tables", user_formats_json(data.label_tables));
    whole["formats"] = user_formats_json(schema.formats);
    try {
        return whole.dump(2) + "\n";
    } catch (const json::type_error &) {
        throw ConversionError(Failure::conversion,
                              "The schema cannot be written: a name or a label holds bytes that are not UTF-8.");
    }
}

Schema parse_schema(const std::string &text, const std::string &file) {
    json whole;
    const auto not_too_deep = [&file](int depth, json::parse_event_t, const json &) {
        if (depth > deepest_value)
            Place(file).refuse("brackets stand inside more brackets than a schema has");
        return true;
    };
    try {
        whole = json::parse(text, not_too_deep);
    } catch (const json::exception &error) {
        // The library's texts begin with "[json.exception.parse_error.101] ".
        const std::string_view what = error.what();
        const size_t code_end = what.find("] ");
        throw ConversionError(Failure::conversion,
                              fmt::format("{} is not JSON: {}.", file,
                                          code_end == std::string_view::npos ? what : what.substr(code_end + 2)));
    }
    return schema_of(whole, Place(file));
}

Schema read_schema(const std::string &file, const Notes &notes, Unpacking unpacking) {
    InputFile input(file, {.expected = InputFile::Content::schema, .unpacking = unpacking});
    input.tell_remark(notes);
    std::string text;
    std::array<char, 65536> piece;
    while (const size_t count = input.read(piece)) {
        text.append(piece.data(), count);
        if (text.size() > largest_schema_bytes)
            throw ConversionError(Failure::conversion, file + " is too long for a schema.");
    }
    return parse_schema(text, file);
}

void write_schema(const std::string &file, const Schema &schema, OutputGroup *group) {
    OutputFile output(file, group);
    output.append(schema_json(schema));
    output.finish();
}

} // namespace vor
