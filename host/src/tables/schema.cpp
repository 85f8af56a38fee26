// Schemas as JSON: what delimited text has no place for.
//
//   {"name": "people", "label": "", "variables": [{"name": "age", "type": "numeric", "length": 8, "label": "Age",
//     "format": "AGE.", "informat": ""}], "formats": [{"name": "AGE", "type": "numeric", "multilabel": false,
//     "width": 5, "ranges": [{"value": 1, "labels": ["young"]}, {"from": 2, "to": 9, "labels": ["old"]}]}]}
//
// A value is a number, or a text: the value itself in a character format, else ".a", "inf" and the like. A format that
// its text cannot hold is an object of name, width and decimals.
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

constexpr size_t largest_schema_bytes = size_t{1} << 30;

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
    return value.get<std::string>();
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

const json *array_of(const json &value, const Place &place) {
    if (!value.is_array())
        place.refuse("an array was expected");
    return &value;
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
    if (variable.name.empty())
        place.refuse("the name is empty");
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
    for (const json &label : *array_of(member(object, "labels", place), place.inside("labels")))
        range.labels.push_back(text_of(label, place.inside("labels")));
    if (range.labels.empty())
        place.refuse("it has no label");
    return range;
}

UserFormat user_format_of(const json &object, const Place &place) {
    UserFormat format;
    format.name = text_of(member(object, "name", place), place.inside("name"));
    format.kind = kind_of(member(object, "type", place), place.inside("type"));
    if (const json *multilabel = optional_member(object, "multilabel")) {
        if (!multilabel->is_boolean())
            place.inside("multilabel").refuse("true or false was expected");
        format.multilabel = multilabel->get<bool>();
    }
    const json &ranges = *array_of(member(object, "ranges", place), place.inside("ranges"));
    for (size_t i = 0; i < ranges.size(); ++i)
        format.ranges.push_back(range_of(ranges[i], format.kind, place.inside("range", i)));
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

Schema schema_of(const json &object, const Place &place) {
    Schema schema;
    const json &variables = *array_of(member(object, "variables", place), place.inside("variables"));
    schema.description.name = optional_text(object, "name", place);
    schema.description.label = optional_text(object, "label", place);
    for (size_t i = 0; i < variables.size(); ++i)
        schema.description.variables.push_back(variable_of(variables[i], place.inside("variable", i)));
    if (const json *formats = optional_member(object, "formats")) {
        array_of(*formats, place.inside("formats"));
        for (size_t i = 0; i < formats->size(); ++i)
            schema.formats.push_back(user_format_of((*formats)[i], place.inside("format", i)));
    }
    return schema;
}

} // namespace

std::string schema_json(const Schema &schema) {
    ordered_json variables = ordered_json::array();
    for (const Variable &variable : schema.description.variables)
        variables.push_back({{"name", variable.name},
                             {"type", kind_name(variable.kind)},
                             {"length", variable.length},
                             {"label", variable.label},
                             {"format", format_json(variable.format)},
                             {"informat", format_json(variable.informat)}});
    ordered_json formats = ordered_json::array();
    for (const UserFormat &format : schema.formats)
        formats.push_back(user_format_json(format));
    const ordered_json whole = {{"name", schema.description.name},
                                {"label", schema.description.label},
                                {"variables", std::move(variables)},
                                {"formats", std::move(formats)}};
    try {
        return whole.dump(2) + "\n";
    } catch (const json::type_error &) {
        throw ConversionError(Failure::conversion,
                              "The schema cannot be written: a name or a label holds bytes that are not UTF-8.");
    }
}

Schema parse_schema(const std::string &text, const std::string &file) {
    json whole;
    try {
        whole = json::parse(text);
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

Schema read_schema(const std::string &file, const Notes &notes) {
    InputFile input(file, {.expected = InputFile::Content::schema});
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
