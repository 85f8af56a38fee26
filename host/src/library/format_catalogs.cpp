#include "library/format_catalogs.h"

#include "library/library_tables.h"
#include "text/number_text.h"

#include <vorhost/missing.h>
#include <vorhost/tables.h>

#include <array>
#include <cmath>
#include <fmt/format.h>

namespace vor {

namespace {

std::vector<std::string> names_of(Statement statement) {
    std::vector<std::string> names;
    while (statement.step())
        names.emplace_back(statement.text(0));
    return names;
}

// One end of a range on its way into two columns: the value, or the mark of a missing value (or of not-a-number).
struct End {
    std::array<char, number_text_max_bytes> mark{};

    void bind(Statement &statement, int value_parameter, int mark_parameter, const FormatValue &value) {
        statement.bind_null(mark_parameter);
        const auto *number = std::get_if<double>(&value);
        if (!number) {
            statement.bind(value_parameter, std::string_view(std::get<std::string>(value)));
        } else if (!std::isnan(*number)) {
            statement.bind(value_parameter, *number);
        } else {
            statement.bind_null(value_parameter);
            const char *end = write_number(*number, mark.data());
            statement.bind(mark_parameter, std::string_view(mark.data(), static_cast<size_t>(end - mark.data())));
        }
    }
};

FormatValue end_of(const Statement &statement, int value_column, int mark_column, ValueKind kind) {
    if (!statement.is_null(mark_column))
        return parse_number_text(statement.text(mark_column)).value_or(missing_value('.'));
    if (kind == ValueKind::character)
        return std::string(statement.text(value_column));
    return statement.is_null(value_column) ? missing_value('.') : statement.number(value_column);
}

int64_t catalog_number(Database &database, const std::string &catalog) {
    database.kept("INSERT OR IGNORE INTO vor_catalogs(name) VALUES(?1)").bind(0, std::string_view(catalog)).run();
    Statement &find = database.kept("SELECT catalog_id FROM vor_catalogs WHERE name = ?1");
    find.bind(0, std::string_view(catalog)).step();
    const int64_t number = find.integer(0);
    find.reset();
    return number;
}

int64_t number_in(Database &database, const std::string &catalog, const std::string &name, const char *sql) {
    Statement &find = database.kept(sql);
    const bool found = find.bind(0, std::string_view(catalog)).bind(1, std::string_view(name)).step();
    const int64_t number = found ? find.integer(0) : 0;
    find.reset();
    return number;
}

constexpr const char *exact_name = "SELECT f.format_id FROM vor_formats f JOIN vor_catalogs c USING(catalog_id) "
                                   "WHERE c.name = ?1 AND f.name = ?2";
constexpr const char *any_case = "SELECT f.format_id FROM vor_formats f JOIN vor_catalogs c USING(catalog_id) "
                                 "WHERE c.name = ?1 AND f.name = ?2 COLLATE NOCASE ORDER BY f.format_id";

// The format's row, made or brought up to date; its ranges are gone.
int64_t format_number(Database &database, const std::string &catalog, const UserFormat &format) {
    int64_t number = number_in(database, catalog, format.name, exact_name);
    if (number != 0) {
        database.kept("DELETE FROM vor_labels WHERE format_id = ?1").bind(0, number).run();
        database.kept("DELETE FROM vor_ranges WHERE format_id = ?1").bind(0, number).run();
        database.kept("UPDATE vor_formats SET type = ?2, multilabel = ?3, default_width = ?4 WHERE format_id = ?1")
            .bind(0, number)
            .bind(1, std::string_view(kind_name(format.kind)))
            .bind(2, format.multilabel ? 1 : 0)
            .bind(3, format.default_width)
            .run();
        return number;
    }
    database
        .kept("INSERT INTO vor_formats(catalog_id, name, type, multilabel, default_width) VALUES(?1, ?2, ?3, ?4, ?5)")
        .bind(0, catalog_number(database, catalog))
        .bind(1, std::string_view(format.name))
        .bind(2, std::string_view(kind_name(format.kind)))
        .bind(3, format.multilabel ? 1 : 0)
        .bind(4, format.default_width)
        .run();
    return database.last_row();
}

void load_ranges(Database &database, int64_t number, UserFormat &format) {
    Statement ranges =
        database.prepare("SELECT r.range_position, r.low, r.high, r.low_mark, r.high_mark, l.label FROM vor_ranges r "
                         "LEFT JOIN vor_labels l "
                         "ON l.format_id = r.format_id AND l.range_position = r.range_position WHERE r.format_id = ?1 "
                         "ORDER BY r.range_position, l.position");
    ranges.bind(0, number);
    int64_t current = 0;
    while (ranges.step()) {
        if (format.ranges.empty() || ranges.integer(0) != current) {
            current = ranges.integer(0);
            format.ranges.push_back({end_of(ranges, 1, 3, format.kind), end_of(ranges, 2, 4, format.kind), {}});
        }
        if (!ranges.is_null(5))
            format.ranges.back().labels.emplace_back(ranges.text(5));
    }
}

UserFormat format_of_number(Database &database, int64_t number) {
    Statement row =
        database.prepare("SELECT name, type, multilabel, default_width FROM vor_formats WHERE format_id = ?1");
    row.bind(0, number).step();
    UserFormat format;
    format.name = row.text(0);
    format.kind = kind_of_name(row.text(1)).value_or(ValueKind::character);
    format.multilabel = row.integer(2) != 0;
    format.default_width = static_cast<int>(row.integer(3));
    load_ranges(database, number, format);
    return format;
}

} // namespace

std::vector<std::string> list_catalogs(Database &database) {
    if (version_of_tables(database) == 0)
        return {};
    return names_of(database.prepare("SELECT name FROM vor_catalogs ORDER BY name"));
}

std::vector<std::string> list_formats(Database &database, const std::string &catalog) {
    if (version_of_tables(database) == 0)
        return {};
    Statement list =
        database.prepare("SELECT f.name FROM vor_formats f JOIN vor_catalogs c USING(catalog_id) WHERE c.name = ?1 "
                         "ORDER BY f.name COLLATE NOCASE, f.format_id");
    list.bind(0, std::string_view(catalog));
    return names_of(std::move(list));
}

int64_t find_format(Database &database, const std::string &catalog, const std::string &name) {
    const int64_t exact = number_in(database, catalog, name, exact_name);
    return exact != 0 ? exact : number_in(database, catalog, name, any_case);
}

std::vector<UserFormat> load_catalog(Database &database, const std::string &catalog) {
    Statement list = database.prepare("SELECT f.format_id FROM vor_formats f JOIN vor_catalogs c USING(catalog_id) "
                                      "WHERE c.name = ?1 ORDER BY f.format_id");
    list.bind(0, std::string_view(catalog));
    std::vector<UserFormat> formats;
    while (list.step())
        formats.push_back(format_of_number(database, list.integer(0)));
    return formats;
}

std::string free_catalog(Database &database, const std::string &stem) {
    Statement find = database.prepare("SELECT 1 FROM vor_catalogs WHERE name = ?1 UNION "
                                      "SELECT 1 FROM vor_datasets WHERE catalog = ?1 COLLATE NOCASE");
    std::string name = stem;
    for (int number = 2; find.bind(0, std::string_view(name)).step(); ++number, find.reset())
        name = fmt::format("{}_{}", stem, number);
    return name;
}

void remove_catalog(Database &database, const std::string &catalog) {
    constexpr const char *formats = "SELECT format_id FROM vor_formats WHERE catalog_id = "
                                    "(SELECT catalog_id FROM vor_catalogs WHERE name = ?1)";
    for (const char *table : {"vor_labels", "vor_ranges", "vor_formats"})
        database.prepare(fmt::format("DELETE FROM {} WHERE format_id IN ({})", table, formats))
            .bind(0, std::string_view(catalog))
            .run();
    database.prepare("DELETE FROM vor_catalogs WHERE name = ?1").bind(0, std::string_view(catalog)).run();
}

bool load_format(Database &database, const std::string &catalog, const std::string &name, UserFormat &format) {
    const int64_t number = version_of_tables(database) != 0 ? find_format(database, catalog, name) : 0;
    if (number != 0)
        format = format_of_number(database, number);
    return number != 0;
}

void store_format(Database &database, const std::string &catalog, const UserFormat &format) {
    const int64_t number = format_number(database, catalog, format);
    Statement &range = database.kept("INSERT INTO vor_ranges VALUES(?1, ?2, ?3, ?4, ?5, ?6)");
    Statement &label = database.kept("INSERT INTO vor_labels VALUES(?1, ?2, ?3, ?4)");
    int64_t range_position = 0;
    for (const FormatRange &entry : format.ranges) {
        End low;
        End high;
        range.bind(0, number).bind(1, ++range_position);
        low.bind(range, 2, 4, entry.start);
        high.bind(range, 3, 5, entry.end);
        range.run();
        int64_t position = 0;
        for (const std::string &text : entry.labels)
            label.bind(0, number).bind(1, range_position).bind(2, ++position).bind(3, std::string_view(text)).run();
    }
}

} // namespace vor
