// Makes, describes and removes the tables and views of a data set. Everything here is called within a transaction.
#pragma once

#include "library/database.h"
#include "library/dataset_reading.h"

#include <vorhost/dataset.h>

#include <string>
#include <vector>

namespace vor {

// ConversionError (usage) when a data set cannot take this name from what has it: a view, or a table of another one.
void check_replaceable(Database &database, const std::string &name);

// Removes the data set or the plain table of this name, if there is one.
void remove_dataset(Database &database, const std::string &name);

// Makes the tables, empty, and stores the description. Columns get their variables' names, made different where they
// differ only in letter case; variables that are more than a table can have columns go into further tables.
StoredDataset make_dataset(Database &database, const std::string &name, const std::string &catalog,
                           const DataSet &description);

// After the last row: stores the number of observations, makes the views with labels, and the triggers that notice
// changes made by others.
void complete_dataset(Database &database, const StoredDataset &dataset, const std::string &catalog,
                      int64_t observations);

} // namespace vor
