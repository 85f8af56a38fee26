#include "library/dataset_reading.h"

#include "library/library_tables.h"

#include <vorhost/error.h>

#include <algorithm>
#include <fmt/format.h>

namespace vor {

namespace {

// The description as it was stored, and where its columns are.
void load_variables(Database &database, StoredDataset &dataset) {
    Statement rows = database.prepare(
        "SELECT name, label, type, length, format, format_width, format_decimals, informat, informat_width, "
        "informat_decimals, table_name, column_name FROM vor_variables WHERE dataset_id = ?1 ORDER BY position");
    rows.bind(0, dataset.number);
    const auto format_at = [&](int column) {
        return Format{std::string(rows.text(column)), static_cast<int>(rows.integer(column + 1)),
                      static_cast<int>(rows.integer(column + 2))};
    };
    while (rows.step()) {
        const ValueKind kind = rows.text(2) == "numeric" ? ValueKind::numeric : ValueKind::character;
        dataset.description.variables.push_back({std::string(rows.text(0)), std::string(rows.text(1)), kind,
                                                 static_cast<int>(rows.integer(3)), format_at(4), format_at(7)});
        if (dataset.tables.empty() || dataset.tables.back().name != rows.text(10))
            dataset.tables.push_back({std::string(rows.text(10)), {}});
        dataset.tables.back().columns.emplace_back(rows.text(11));
    }
}

// Somebody has changed the tables since they were written: counts the rows and measures the texts again.
void measure(Database &database, StoredDataset &dataset) {
    size_t variable = 0;
    for (const StoredTable &table : dataset.tables) {
        Statement count = database.prepare("SELECT count(*) FROM " + quoted(table.name));
        count.step();
        dataset.description.observations = count.integer(0);
        for (const std::string &column : table.columns) {
            Variable &described = dataset.description.variables[variable++];
            if (described.kind == ValueKind::numeric)
                continue;
            Statement longest = database.prepare(
                fmt::format("SELECT max(length(CAST({} AS BLOB))) FROM {}", quoted(column), quoted(table.name)));
            longest.step();
            described.length = std::max(described.length, static_cast<int>(longest.integer(0)));
        }
    }
}

StoredDataset load_dataset(Database &database, const std::string &name) {
    Statement row =
        database.prepare("SELECT dataset_id, name, label, table_name, observations FROM vor_datasets WHERE name = ?1");
    row.bind(0, name).step();
    StoredDataset dataset;
    dataset.number = row.integer(0);
    dataset.description.name = row.text(1);
    dataset.description.label = row.text(2);
    load_variables(database, dataset);
    if (dataset.tables.empty())
        dataset.tables.push_back({std::string(row.text(3)), {}});
    if (row.is_null(4))
        measure(database, dataset);
    else
        dataset.description.observations = row.integer(4);
    return dataset;
}

} // namespace

std::vector<std::string> list_datasets(Database &database) {
    std::string sql = R"(SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\_%' ESCAPE '\'
                         AND name NOT LIKE 'vor\_%' ESCAPE '\')";
    if (has_library_tables(database))
        sql += " AND name NOT IN (SELECT table_name FROM vor_variables UNION SELECT table_name FROM vor_datasets) "
               "UNION SELECT name FROM vor_datasets";
    Statement rows = database.prepare(sql + " ORDER BY 1");
    std::vector<std::string> names;
    while (rows.step())
        names.emplace_back(rows.text(0));
    return names;
}

bool is_dataset(Database &database, const std::string &name) {
    if (!fault_of_dataset_name(name).empty())
        return false;
    const Held held = held_under(database, name);
    return held != Held::nothing && held != Held::part;
}

StoredDataset find_dataset(Database &database, const std::string &name, const Notes &notes) {
    if (!is_dataset(database, name)) {
        if (const std::string fault = fault_of_dataset_name(name); !fault.empty())
            throw ConversionError(Failure::conversion, fault);
        const std::vector<std::string> names = list_datasets(database);
        throw ConversionError(Failure::conversion,
                              fmt::format("{} has no data set {}; it has {}.", database.name(), name,
                                          names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "))));
    }
    return held_under(database, name) == Held::dataset ? load_dataset(database, name)
                                                       : look_through_table(database, name, notes);
}

std::string selection(const StoredTable &table, bool ours) {
    std::string sql = ours ? "SELECT _rowid_" : "SELECT ";
    for (size_t i = 0; i < table.columns.size(); ++i) {
        if (ours || i != 0)
            sql += ", ";
        sql += quoted(table.columns[i]);
    }
    return sql + " FROM " + quoted(table.name) + (ours ? " ORDER BY _rowid_" : "");
}

} // namespace vor
