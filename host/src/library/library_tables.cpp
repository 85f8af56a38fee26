#include "library/library_tables.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>

#include <fmt/format.h>

namespace vor {

namespace {

constexpr int64_t library_version = 2;

// vor_missing: cells of numeric variables that are NULL in their table and a missing value other than the standard one.
// vor_exact: numbers that SQLite does not store bit for bit, -0.0 and not-a-number.
// vor_ranges: low and high are NULL for missing values, which stand in low_mark and high_mark.
// vor_variables: sort_position counts the variables by which the data set is sorted, 0 for the others.
// observation is the value of row_column in the data set's table, position counts from 1 everywhere.
constexpr const char *table_definitions = R"(
CREATE TABLE IF NOT EXISTS vor_library(version INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS vor_datasets(
    dataset_id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE, label TEXT NOT NULL,
    table_name TEXT NOT NULL COLLATE NOCASE, catalog TEXT NOT NULL, observations INTEGER,
    timestamp TEXT NOT NULL DEFAULT '', own_catalog INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS vor_variables(
    dataset_id INTEGER NOT NULL, position INTEGER NOT NULL, name TEXT NOT NULL, label TEXT NOT NULL,
    type TEXT NOT NULL, length INTEGER NOT NULL,
    format TEXT NOT NULL, format_width INTEGER NOT NULL, format_decimals INTEGER NOT NULL,
    informat TEXT NOT NULL, informat_width INTEGER NOT NULL, informat_decimals INTEGER NOT NULL,
    table_name TEXT NOT NULL COLLATE NOCASE, column_name TEXT NOT NULL,
    stored_type TEXT NOT NULL DEFAULT '', stata_format TEXT NOT NULL DEFAULT '', label_table TEXT NOT NULL DEFAULT '',
    sort_position INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY(dataset_id, position)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS vor_views(
    view_name TEXT NOT NULL PRIMARY KEY COLLATE NOCASE, dataset_id INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS vor_characteristics(
    dataset_id INTEGER NOT NULL, position INTEGER NOT NULL, owner TEXT NOT NULL, name TEXT NOT NULL,
    text TEXT NOT NULL,
    PRIMARY KEY(dataset_id, position)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS vor_missing(
    dataset_id INTEGER NOT NULL, observation INTEGER NOT NULL, position INTEGER NOT NULL, mark TEXT NOT NULL,
    PRIMARY KEY(dataset_id, observation, position)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS vor_exact(
    dataset_id INTEGER NOT NULL, observation INTEGER NOT NULL, position INTEGER NOT NULL, bits INTEGER NOT NULL,
    PRIMARY KEY(dataset_id, observation, position)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS vor_catalogs(
    catalog_id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE);
CREATE TABLE IF NOT EXISTS vor_formats(
    format_id INTEGER PRIMARY KEY, catalog_id INTEGER NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL,
    multilabel INTEGER NOT NULL, default_width INTEGER NOT NULL, UNIQUE(catalog_id, name));
CREATE TABLE IF NOT EXISTS vor_ranges(
    format_id INTEGER NOT NULL, range_position INTEGER NOT NULL, low, high, low_mark TEXT, high_mark TEXT,
    PRIMARY KEY(format_id, range_position)) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS vor_ranges_low ON vor_ranges(format_id, low, high);
CREATE INDEX IF NOT EXISTS vor_ranges_mark ON vor_ranges(format_id, low_mark) WHERE low_mark IS NOT NULL;
CREATE INDEX IF NOT EXISTS vor_ranges_interval ON vor_ranges(format_id, low) WHERE low < high;
CREATE TABLE IF NOT EXISTS vor_labels(
    format_id INTEGER NOT NULL, range_position INTEGER NOT NULL, position INTEGER NOT NULL, label TEXT NOT NULL,
    PRIMARY KEY(format_id, range_position, position)) WITHOUT ROWID;
CREATE VIEW IF NOT EXISTS vor_first_labels AS
    SELECT r.format_id, r.range_position, r.low, r.high, r.low_mark, r.high_mark, l.label
    FROM vor_ranges r JOIN vor_labels l
        ON l.format_id = r.format_id AND l.range_position = r.range_position AND l.position = 1;
)";

// Before and after the definitions above, which fill the gaps of the first version's tables.
constexpr const char *from_first_version = R"(
CREATE TEMP TABLE vor_kept_views AS SELECT view_name, dataset_id FROM main.vor_views;
CREATE TEMP TABLE vor_kept_formats AS SELECT * FROM main.vor_formats;
DROP TABLE main.vor_views;
DROP TABLE main.vor_formats;
ALTER TABLE vor_datasets ADD COLUMN timestamp TEXT NOT NULL DEFAULT '';
ALTER TABLE vor_datasets ADD COLUMN own_catalog INTEGER NOT NULL DEFAULT 0;
ALTER TABLE vor_variables ADD COLUMN stored_type TEXT NOT NULL DEFAULT '';
ALTER TABLE vor_variables ADD COLUMN stata_format TEXT NOT NULL DEFAULT '';
ALTER TABLE vor_variables ADD COLUMN label_table TEXT NOT NULL DEFAULT '';
ALTER TABLE vor_variables ADD COLUMN sort_position INTEGER NOT NULL DEFAULT 0;
)";
constexpr const char *to_this_version = R"(
INSERT INTO vor_views SELECT * FROM temp.vor_kept_views;
INSERT INTO vor_formats SELECT * FROM temp.vor_kept_formats;
DROP TABLE temp.vor_kept_views;
DROP TABLE temp.vor_kept_formats;
UPDATE vor_library SET version = 2;
)";

// What a name may stand for, looked for in this order.
struct Place {
    Held held;
    const char *sql;
};
constexpr Place our_places[] = {
    {Held::dataset, "SELECT 1 FROM vor_datasets WHERE name = ?1"},
    {Held::labelled_view, "SELECT 1 FROM vor_views WHERE view_name = ?1"},
    {Held::part, "SELECT 1 FROM vor_variables WHERE table_name = ?1"},
};
constexpr Place other_places[] = {
    {Held::table, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?1 COLLATE NOCASE"},
    {Held::view, "SELECT 1 FROM sqlite_master WHERE name = ?1 COLLATE NOCASE"},
};

} // namespace

int64_t version_of_tables(Database &database) {
    if (!database.prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'vor_library'").step())
        return 0;
    Statement version = database.prepare("SELECT max(version) FROM vor_library");
    version.step();
    if (version.integer(0) > library_version)
        throw ConversionError(
            Failure::conversion,
            fmt::format("{} is a library of version {}, made by a newer program; this one knows version {}.",
                        database.name(), version.integer(0), library_version));
    return version.integer(0);
}

void make_library_tables(Database &database) {
    const int64_t version = version_of_tables(database);
    if (version == library_version)
        return;
    if (version != 0) {
        database.run(from_first_version);
        database.run(table_definitions);
        database.run(to_this_version);
        return;
    }
    database.run(table_definitions);
    database.prepare("INSERT INTO vor_library VALUES(?1)").bind(0, library_version).run();
}

std::string fault_of_dataset_name(std::string_view name) {
    if (name.empty())
        return "A data set needs a name.";
    if (name.find('\0') != std::string_view::npos)
        return "A data set's name cannot hold a NUL byte.";
    const std::string lower = lower_case(name);
    for (const char *reserved : {"vor_", "sqlite_"}) {
        if (lower.starts_with(reserved))
            return fmt::format("A data set cannot be called {}: names that begin with {} belong to the library itself.",
                               name, reserved);
    }
    return {};
}

Held held_under(Database &database, const std::string &name) {
    const auto stands = [&](const Place &place) { return database.prepare(place.sql).bind(0, name).step(); };
    if (version_of_tables(database) != 0) {
        for (const Place &place : our_places) {
            if (stands(place))
                return place.held;
        }
    }
    for (const Place &place : other_places) {
        if (stands(place))
            return place.held;
    }
    return Held::nothing;
}

} // namespace vor
