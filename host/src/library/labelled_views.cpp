#include "library/labelled_views.h"

#include "library/format_catalogs.h"

#include <vorhost/temporal.h>

#include <fmt/format.h>

namespace vor {

namespace {

// A label is looked up for a single value first and for intervals then, each by an index of its own; a value without a
// label stays as it is. The plus keeps SQLite from converting what is compared, which would keep it from the index.
constexpr const char *labelled_value =
    "coalesce((SELECT label FROM vor_first_labels WHERE format_id = {format} AND low = +{column} "
    "AND high = +{column} ORDER BY range_position LIMIT 1), "
    "(SELECT label FROM vor_first_labels WHERE format_id = {format} AND low < high AND low <= +{column} "
    "AND high >= +{column} ORDER BY low, range_position LIMIT 1), {column})";

constexpr const char *labelled_missing =
    "(SELECT label FROM vor_first_labels WHERE format_id = {format} AND low_mark = "
    "coalesce((SELECT mark FROM vor_missing WHERE dataset_id = {dataset} AND observation = t._rowid_ "
    "AND position = {position}), '.') ORDER BY range_position LIMIT 1)";

std::string labelled_column(const StoredDataset &dataset, size_t variable, const std::string &column, int64_t format) {
    std::string value =
        fmt::format(fmt::runtime(labelled_value), fmt::arg("format", format), fmt::arg("column", column));
    if (dataset.description.variables[variable].kind == ValueKind::character)
        return value;
    const std::string missing = fmt::format(fmt::runtime(labelled_missing), fmt::arg("format", format),
                                            fmt::arg("dataset", dataset.number), fmt::arg("position", variable + 1));
    return fmt::format("CASE WHEN {} IS NULL THEN {} ELSE {} END", column, missing, value);
}

} // namespace

std::string labelled_selection(Database &database, const StoredDataset &dataset, size_t part, size_t first,
                               const std::string &catalog) {
    const StoredTable &table = dataset.tables[part];
    std::string sql = "SELECT ";
    bool any = false;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        const Format &format = dataset.description.variables[first + i].format;
        const int64_t number = format.name.empty() || temporal_class(format) != Temporal::none
                                   ? 0
                                   : find_format(database, catalog, format.name);
        const std::string name = quoted(table.columns[i]);
        const std::string column = "t." + name;
        any = any || number != 0;
        sql += i == 0 ? "" : ", ";
        sql += (number != 0 ? labelled_column(dataset, first + i, column, number) : column) + " AS " + name;
    }
    return any ? sql + " FROM " + quoted(table.name) + " AS t" : std::string();
}

} // namespace vor
