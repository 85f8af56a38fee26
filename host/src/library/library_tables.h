// The vor_ tables of a library: their form, and the names that may stand beside them.
#pragma once

#include "library/database.h"

#include <string>
#include <string_view>

namespace vor {

// Whether the library has the vor_ tables. ConversionError when a newer program made them in another form.
bool has_library_tables(Database &database);

// Makes the vor_ tables where they are missing. Call within a transaction.
void make_library_tables(Database &database);

// Why a data set cannot have this name; empty when it can.
std::string fault_of_dataset_name(std::string_view name);

// What stands in the library under a name.
enum class Held { nothing, dataset, table, view, labelled_view, part };
Held held_under(Database &database, const std::string &name);

} // namespace vor
