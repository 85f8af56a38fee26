// Data sets of a library: their batches in and out, where their values stand, and their descriptions, from the vor_
// tables or found in the values of a plain table.
#pragma once

#include "library/database.h"
#include "library/library_file.h"

#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/log.h>

#include <cstdint>
#include <optional>
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
    std::vector<int64_t> positions;  // of the variables in the vor_ tables, when it is read; 0: not in them
    std::string catalog;             // of its user formats; empty: none in this library
    bool own_catalog = false;        // no other data set has it
};

// ConversionError when there is no such data set or a plain table holds what a data set cannot.
StoredDataset find_dataset(Database &database, const std::string &name, const Notes &notes);

// Looks at every value of a plain table or view.
StoredDataset look_through_table(Database &database, const std::string &name, const Notes &notes);

// Variables for some of a table's columns, found by looking at every value. rows: how many there are.
std::vector<Variable> look_through_columns(Database &database, const StoredTable &table, const Notes &notes,
                                           int64_t &rows);

// Whether a double holds the integer.
bool held_exactly(int64_t integer);

// The columns that a table has now. ConversionError when it is gone.
std::vector<std::string> columns_of_table(Database &database, const std::string &name);

// As Library::dataset_sink.
std::unique_ptr<BatchSink> make_dataset_sink(std::shared_ptr<LibraryFile> library, const std::string &name,
                                             const std::optional<std::string> &catalog, Library::Tables others);

// As Library::dataset_source.
std::unique_ptr<BatchSource> make_dataset_source(std::shared_ptr<LibraryFile> library, const std::string &name,
                                                 const Notes &notes, const Notes &warnings);

// As Library::catalog_of.
std::string catalog_of_dataset(Database &database, const std::string &name);

} // namespace vor
