// Plain tables that nothing of ours wrote: what their columns hold is found by looking at every value.
#include "library/datasets.h"
#include "library/library_tables.h"
#include "library/value_evidence.h"

#include <vorhost/error.h>

#include <fmt/format.h>
#include <sqlite3.h>

namespace vor {

namespace {

// A view makes its values up and may make them of any length.
constexpr int longest_made_up_value = 1 << 25;

} // namespace

bool held_exactly(int64_t integer) {
    const auto number = static_cast<double>(integer);
    return number < 0x1p63 && static_cast<int64_t>(number) == integer;
}

std::vector<std::string> columns_of_table(Database &database, const std::string &name) {
    const Statement all = database.prepare("SELECT * FROM " + quoted(name));
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(all.columns()));
    for (int i = 0; i < all.columns(); ++i)
        names.push_back(all.column_name(i));
    return names;
}

std::vector<Variable> look_through_columns(Database &database, const StoredTable &table, const Notes &notes,
                                           int64_t &rows) {
    std::string sql = "SELECT ";
    for (const std::string &column : table.columns)
        sql += (&column == &table.columns.front() ? "" : ", ") + quoted(column);
    Statement values = database.prepare(sql + " FROM " + quoted(table.name));
    std::vector<ValueEvidence> columns(table.columns.size());
    for (rows = 0; values.step();) {
        ++rows;
        for (size_t i = 0; i < columns.size(); ++i) {
            sqlite3_value *value = values.value(static_cast<int>(i));
            const int type = sqlite3_value_type(value);
            if (type == SQLITE_BLOB)
                throw ConversionError(
                    Failure::conversion,
                    fmt::format("{}: row {}, column {} ({}) of {} is a BLOB; numbers and text were expected.",
                                database.name(), rows, i + 1, table.columns[i], table.name));
            columns[i].add(value, type, rows);
        }
    }
    std::vector<Variable> variables;
    for (size_t i = 0; i < columns.size(); ++i) {
        variables.push_back(columns[i].variable(table.columns[i], values.declared_type(static_cast<int>(i))));
        const std::string note = columns[i].note(table.columns[i]);
        if (!note.empty() && notes)
            notes(note);
    }
    return variables;
}

StoredDataset look_through_table(Database &database, const std::string &name, const Notes &notes) {
    if (held_under(database, name) == Held::view)
        database.limit_values(longest_made_up_value);
    StoredDataset found;
    found.tables.push_back({name, columns_of_table(database, name)});
    found.description.name = name;
    found.description.variables =
        look_through_columns(database, found.tables.back(), notes, found.description.observations);
    found.positions.resize(found.description.variables.size());
    return found;
}

} // namespace vor
