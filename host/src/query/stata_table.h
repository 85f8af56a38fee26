// A Stata file as a virtual table of SQLite: CREATE VIRTUAL TABLE t USING dta('x.dta').
//
// The rows' numbers count the observations from 1; a range of them is read alone, and only columns that a statement
// uses are decoded. Behind the variables stand hidden columns: "x:mark", the mark of a missing value, and "x:label",
// the label of a value, as far as a table may have columns.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/host.h>

#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;

namespace vor {

// A column of a virtual table.
struct StataColumn {
    enum class Part { value, mark, label };
    std::string name;
    size_t variable;
    Part part;
};

// Names that differ in more than letter case. Values come first, one for each variable.
std::vector<StataColumn> stata_columns(const DataSet &description, size_t most);

// What the tables of a connection share.
struct StataTables {
    HostOptions host;
    std::string encoding;
    std::map<std::string, DataSet> made = {}; // by the tables' names
    std::exception_ptr failure = {};          // what a callback threw last; SQLite keeps only its words
};

// Makes the module "dta" known to a connection, which holds the tables' share.
void offer_stata_tables(sqlite3 *connection, const std::shared_ptr<StataTables> &shared);

} // namespace vor
