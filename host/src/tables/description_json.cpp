#include <vorhost/description.h>
#include <vorhost/missing.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <unordered_map>

namespace vor {

std::string value_text(const FormatValue &value) {
    const auto *number = std::get_if<double>(&value);
    return number ? number_text(*number) : std::get<std::string>(value);
}

namespace {

using Json = nlohmann::ordered_json;

// Integers without a decimal point, as people write them.
Json value_json(const FormatValue &value) {
    constexpr double exact_integers = 0x1p53;
    const auto *number = std::get_if<double>(&value);
    if (!number || is_missing(*number) || !std::isfinite(*number))
        return value_text(value);
    if (*number == std::trunc(*number) && std::fabs(*number) <= exact_integers)
        return static_cast<int64_t>(*number);
    return *number;
}

Json ranges_json(const UserFormat &format) {
    Json entries = Json::array();
    for (const FormatRange &range : format.ranges)
        for (const std::string &label : range.labels) {
            Json entry = {{"value", value_json(range.start)}};
            if (!is_single(range))
                entry["to"] = value_json(range.end);
            entry["text"] = label;
            entries.push_back(std::move(entry));
        }
    return entries;
}

Json variable_json(const Variable &variable) {
    return {{"name", variable.name},
            {"type", kind_name(variable.kind)},
            {"stored_type", stored_type_text(variable)},
            {"stata_format", variable.stata_format},
            {"label_table", variable.label_table},
            {"length", variable.length},
            {"format", format_text(variable.format)},
            {"label", variable.label}};
}

// Bytes of a foreign library that are not UTF-8 become the replacement character. depth: of the value in what it is a
// part of.
std::string text_of(const Json &json, size_t depth = 0) {
    std::string text;
    for (const char character : json.dump(2, ' ', false, Json::error_handler_t::replace)) {
        text += character;
        if (character == '\n')
            text.append(2 * depth, ' ');
    }
    return text;
}

// The text of an object, open for more members: the line end and the brace are left out, the comma is there.
std::string open_object(const Json &object, size_t depth = 0) {
    const std::string text = text_of(object, depth);
    return text.substr(0, text.rfind('\n')) + ',';
}

} // namespace

void write_description_json(const FileSummary &summary, const DataSet &data_set, const FormatLookup &formats,
                            const std::function<void(std::string_view)> &write) {
    Json characteristics = Json::array();
    for (const Characteristic &one : data_set.characteristics)
        characteristics.push_back({{"of", one.of}, {"name", one.name}, {"text", one.text}});
    const bool is_file = summary.release != 0;
    write(open_object({{"file", summary.file},
                       {"release", is_file ? Json(summary.release) : Json()},
                       {"byte_order", is_file ? Json(summary.big_endian ? "big" : "little") : Json()},
                       {"data_label", summary.data_label},
                       {"timestamp", data_set.timestamp},
                       {"sort", data_set.sort},
                       {"characteristics", std::move(characteristics)},
                       {"observations", summary.observations}}) +
          "\n  \"variables\": [");
    const LabelLookup labels(data_set.label_tables, formats);
    std::unordered_map<const UserFormat *, std::string> shared; // variables may share a long table
    const char *separator = "\n    ";
    for (const Variable &variable : data_set.variables) {
        const UserFormat *format = labels.find(variable);
        const Json shown = variable_json(variable);
        write(separator + (format ? open_object(shown, 2) + "\n      \"value_labels\": " : text_of(shown, 2)));
        separator = ",\n    ";
        if (!format)
            continue;
        const auto [text, is_new] = shared.try_emplace(format);
        if (is_new)
            text->second = text_of(ranges_json(*format), 3) + "\n    }";
        write(text->second);
    }
    write(data_set.variables.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

std::string catalogs_json(const std::string &library, const std::vector<Catalog> &catalogs) {
    Json shown_catalogs = Json::array();
    for (const Catalog &catalog : catalogs) {
        Json formats = Json::array();
        for (const UserFormat &format : catalog.formats)
            formats.push_back({{"name", format.name},
                               {"type", kind_name(format.kind)},
                               {"multilabel", format.multilabel},
                               {"value_labels", ranges_json(format)}});
        shown_catalogs.push_back({{"name", catalog.name}, {"formats", std::move(formats)}});
    }
    return text_of({{"library", library}, {"catalogs", std::move(shown_catalogs)}}) + "\n";
}

} // namespace vor
