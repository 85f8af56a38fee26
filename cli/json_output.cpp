#include "json_output.h"

#include "display.h"

#include <vorhost/missing.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace vor::cli {
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

Json variable_json(const Variable &variable, const UserFormat *format) {
    Json shown = {{"name", variable.name},
                  {"type", kind_name(variable.kind)},
                  {"length", variable.length},
                  {"format", format_text(variable.format)},
                  {"label", variable.label}};
    if (format)
        shown["value_labels"] = ranges_json(*format);
    return shown;
}

// Bytes of a foreign library that are not UTF-8 become the replacement character.
std::string text_of(const Json &json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace

std::string description_json(const FileSummary &summary, const DataSet &data_set, const FormatLookup &formats) {
    Json variables = Json::array();
    for (const Variable &variable : data_set.variables)
        variables.push_back(variable_json(variable, format_of(variable, formats)));
    const bool is_file = summary.release != 0;
    return text_of({{"file", summary.file},
                    {"release", is_file ? Json(summary.release) : Json()},
                    {"byte_order", is_file ? Json(summary.big_endian ? "big" : "little") : Json()},
                    {"data_label", summary.data_label},
                    {"observations", summary.observations},
                    {"variables", std::move(variables)}});
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
    return text_of({{"library", library}, {"catalogs", std::move(shown_catalogs)}});
}

} // namespace vor::cli
