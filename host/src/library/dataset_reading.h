// Where a data set's values stand in a library, and its description: from the vor_ tables, or found in the values of a
// plain table.
#pragma once

#include "library/database.h"

#include <vorhost/dataset.h>
#include <vorhost/rows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vor {

// Names of our data sets and of plain tables.
std::vector<std::string> list_datasets(Database &database);
bool is_dataset(Database &database, const std::string &name);

// A table of a data set and the columns in it, for the variables in their order.
struct StoredTable {
    std::string name;
    std::vector<std::string> columns;
};

struct StoredDataset {
    int64_t number = 0; // in the vor_ tables; 0: a plain table
    DataSet description;
    std::vector<StoredTable> tables; // more than one when a table cannot have as many columns; at least one
};

// ConversionError when there is no such data set or a plain table holds what a data set cannot.
StoredDataset find_dataset(Database &database, const std::string &name, const Notes &notes);

// Looks at every value of a plain table or view.
StoredDataset look_through_table(Database &database, const std::string &name, const Notes &notes);

// "SELECT _rowid_, columns" from a table of ours in the order of its rows, "SELECT columns" from a plain one.
std::string selection(const StoredTable &table, bool ours);

} // namespace vor
