// What describe and formats show as JSON.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/tables.h>
#include <vorhost/user_format.h>

#include <string>
#include <vector>

namespace vor::cli {

// A catalog of a library with its formats.
struct Catalog {
    std::string name;
    std::vector<UserFormat> formats;
};

// Value labels are an array of {"value": 1, "text": "yes"} in the order of the catalog. A missing value is its mark,
// ".a"; an interval has its other end as "to"; every label after the first of a multilabel format is an object of its
// own. A data set of a library has no release and no byte order: null.
std::string description_json(const FileSummary &summary, const DataSet &data_set, const FormatLookup &formats);
std::string catalogs_json(const std::string &library, const std::vector<Catalog> &catalogs);

} // namespace vor::cli
