// The vor_ tables of a library: their form, and the names that may stand beside them.
#pragma once

#include "library/database.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vor {

// The version of the vor_ tables; 0: the library has none. ConversionError when a newer program made them.
int64_t version_of_tables(Database &database);

// Makes the vor_ tables where they are missing, and brings those of an older version to the newest one. Call within a
// transaction.
void make_library_tables(Database &database);

// The last column of a data set's table: SQLite numbers rows anew unless a column holds their numbers.
constexpr const char *row_column = "vor_row";

// Why a data set cannot have this name; empty when it can.
std::string fault_of_dataset_name(std::string_view name);

// What stands in the library under a name.
enum class Held { nothing, dataset, table, view, labelled_view, part };
Held held_under(Database &database, const std::string &name);

} // namespace vor
