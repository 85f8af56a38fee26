// The views that show labels in place of codes.
#pragma once

#include "library/dataset_reading.h"

#include <string>

namespace vor {

// The SELECT over one table of a data set; empty when none of its variables has a user format in the catalog. part:
// which table; first: the index of its first variable.
std::string labelled_selection(Database &database, const StoredDataset &dataset, size_t part, size_t first,
                               const std::string &catalog);

} // namespace vor
