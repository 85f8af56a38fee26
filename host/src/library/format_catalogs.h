// User formats in the tables of a library.
#pragma once

#include "library/database.h"

#include <vorhost/user_format.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vor {

// In the order of their names; empty when the library has no such catalog.
std::vector<std::string> list_catalogs(Database &database);
std::vector<std::string> list_formats(Database &database, const std::string &catalog);

// All formats of a catalog in the order in which they came; empty when there is no such catalog.
std::vector<UserFormat> load_catalog(Database &database, const std::string &catalog);

// A name that no catalog has: the stem itself, or with a number.
std::string free_catalog(Database &database, const std::string &stem);

void remove_catalog(Database &database, const std::string &catalog);

// The number of a format in the tables, of exactly that name or else one that differs in the case of ASCII letters; 0
// when there is none. It stays the same when the format is replaced.
int64_t find_format(Database &database, const std::string &catalog, const std::string &name);

// False when there is none of that name.
bool load_format(Database &database, const std::string &catalog, const std::string &name, UserFormat &format);

// Makes a format, or replaces the one of exactly its name; its catalog is made when it is missing. Call within a
// transaction, the tables made.
void store_format(Database &database, const std::string &catalog, const UserFormat &format);

} // namespace vor
