// Descriptions and catalogs as JSON, as `describe --json` and `formats --json` print them.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/tables.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

// Value labels are an array of {"value": 1, "text": "yes"} in the order of the catalog. A missing value is its mark,
// ".a"; an interval has its other end as "to"; every label after the first of a multilabel format is an object of its
// own. A data set of a library has no release and no byte order: null. `write` gets the text variable by variable.
void write_description_json(const FileSummary &summary, const DataSet &data_set, const FormatLookup &formats,
                            const std::function<void(std::string_view)> &write);

// A catalog of a library with its formats.
struct Catalog {
    std::string name;
    std::vector<UserFormat> formats;
};
std::string catalogs_json(const std::string &library, const std::vector<Catalog> &catalogs);

// A number as number_text, or the text itself.
std::string value_text(const FormatValue &value);

} // namespace vor
