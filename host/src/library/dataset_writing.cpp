#include "library/dataset_writing.h"

#include "library/labelled_views.h"
#include "library/library_tables.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <fmt/format.h>
#include <unordered_set>

namespace vor {

namespace {

// SQLite has no table without columns.
constexpr const char *no_variables = "vor_no_variables";

// A name that nothing in the library has: the stem itself, or with a number.
std::string free_name(Database &database, const std::string &stem) {
    std::string name = stem;
    for (int number = 2; held_under(database, name) != Held::nothing; ++number)
        name = fmt::format("{}_{}", stem, number);
    return name;
}

// Names of columns for variables. Rows are found by _rowid_, so no column may have that name.
class ColumnNames {
  public:
    std::string name_for(const Variable &variable, size_t position) {
        std::string stem = variable.name.empty() ? fmt::format("V{}", position) : variable.name;
        std::replace(stem.begin(), stem.end(), '\0', '_');
        std::string name = stem;
        for (int number = 2; !taken_.insert(lower_case(name)).second; ++number)
            name = fmt::format("{}_{}", stem, number);
        return name;
    }

  private:
    std::unordered_set<std::string> taken_ = {"_rowid_"};
};

std::vector<std::string> texts_of(Statement &statement) {
    std::vector<std::string> texts;
    while (statement.step())
        texts.emplace_back(statement.text(0));
    return texts;
}

void make_table(Database &database, const StoredTable &table, const std::vector<Variable> &variables, size_t first) {
    std::string sql = "CREATE TABLE " + quoted(table.name) + "(";
    for (size_t i = 0; i < table.columns.size(); ++i) {
        const Variable &variable = variables[first + i];
        const bool number = variable.kind == ValueKind::numeric && temporal_class(variable.format) == Temporal::none;
        sql += fmt::format("{}{} {}", i == 0 ? "" : ", ", quoted(table.columns[i]), number ? "REAL" : "TEXT");
    }
    database.run(sql + (table.columns.empty() ? quoted(no_variables) + ")" : ")"));
}

void store_variable(Database &database, int64_t dataset, size_t position, const Variable &variable,
                    const StoredTable &table) {
    Statement &row = database.kept("INSERT INTO vor_variables VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, "
                                   "?12, ?13, ?14)");
    row.bind(0, dataset).bind(1, static_cast<int64_t>(position)).bind(2, variable.name).bind(3, variable.label);
    row.bind(4, std::string_view(variable.kind == ValueKind::numeric ? "numeric" : "character"));
    row.bind(5, variable.length);
    row.bind(6, variable.format.name).bind(7, variable.format.width).bind(8, variable.format.decimals);
    row.bind(9, variable.informat.name).bind(10, variable.informat.width).bind(11, variable.informat.decimals);
    row.bind(12, table.name).bind(13, table.columns.back()).run();
}

void make_triggers(Database &database, int64_t dataset, const std::string &table, size_t part) {
    for (const char *event : {"INSERT", "UPDATE", "DELETE"}) {
        const bool removal = event[0] == 'D';
        database.run(fmt::format(
            "CREATE TRIGGER vor_{0}_{1}_{2} AFTER {2} ON {3} BEGIN "
            "UPDATE vor_datasets SET observations = NULL WHERE dataset_id = {0} AND observations IS NOT NULL; {4}END",
            dataset, part, event, quoted(table),
            removal ? fmt::format("DELETE FROM vor_missing WHERE dataset_id = {0} AND observation = OLD._rowid_; "
                                  "DELETE FROM vor_exact WHERE dataset_id = {0} AND observation = OLD._rowid_; ",
                                  dataset)
                    : std::string()));
    }
}

} // namespace

void check_replaceable(Database &database, const std::string &name) {
    const char *reason = nullptr;
    switch (held_under(database, name)) {
    case Held::view:
        reason = "a view in the library has that name";
        break;
    case Held::labelled_view:
        reason = "the view with the labels of another data set has that name";
        break;
    case Held::part:
        reason = "a table of another data set, which needs more than one, has that name";
        break;
    case Held::nothing:
    case Held::dataset:
    case Held::table:
        return;
    }
    throw ConversionError(Failure::usage, fmt::format("A data set cannot be called {}: {}.", name, reason));
}

void remove_dataset(Database &database, const std::string &name) {
    const Held held = held_under(database, name);
    if (held == Held::table)
        database.run("DROP TABLE " + quoted(name));
    if (held != Held::dataset)
        return;
    Statement find = database.prepare("SELECT dataset_id FROM vor_datasets WHERE name = ?1");
    find.bind(0, name).step();
    const int64_t number = find.integer(0);
    find.reset();
    Statement views = database.prepare("SELECT view_name FROM vor_views WHERE dataset_id = ?1");
    for (const std::string &view : texts_of(views.bind(0, number)))
        database.run("DROP VIEW IF EXISTS " + quoted(view));
    Statement tables = database.prepare("SELECT table_name FROM vor_datasets WHERE dataset_id = ?1 "
                                        "UNION SELECT table_name FROM vor_variables WHERE dataset_id = ?1");
    for (const std::string &table : texts_of(tables.bind(0, number)))
        database.run("DROP TABLE IF EXISTS " + quoted(table));
    for (const char *table : {"vor_missing", "vor_exact", "vor_views", "vor_variables", "vor_datasets"})
        database.run(fmt::format("DELETE FROM {} WHERE dataset_id = {}", table, number));
}

StoredDataset make_dataset(Database &database, const std::string &name, const std::string &catalog,
                           const DataSet &description) {
    StoredDataset made;
    made.description = description;
    made.tables.push_back({name, {}});
    database
        .prepare("INSERT INTO vor_datasets(name, label, table_name, catalog, observations) VALUES(?1, ?2, ?1, ?3, 0)")
        .bind(0, name)
        .bind(1, description.label)
        .bind(2, catalog)
        .run();
    made.number = database.last_row();
    const auto &variables = description.variables;
    const auto most = static_cast<size_t>(database.most_columns()) - 1; // reading asks for the row's number too
    ColumnNames names;
    size_t first = 0; // of the table being filled
    for (size_t i = 0; i < variables.size(); ++i) {
        if (made.tables.back().columns.size() == most) {
            make_table(database, made.tables.back(), variables, first);
            made.tables.push_back({free_name(database, fmt::format("{}_{}", name, made.tables.size() + 1)), {}});
            first = i;
        }
        made.tables.back().columns.push_back(names.name_for(variables[i], i + 1));
        store_variable(database, made.number, i + 1, variables[i], made.tables.back());
    }
    make_table(database, made.tables.back(), variables, first);
    return made;
}

void complete_dataset(Database &database, const StoredDataset &dataset, const std::string &catalog,
                      int64_t observations) {
    database.prepare("UPDATE vor_datasets SET observations = ?2 WHERE dataset_id = ?1")
        .bind(0, dataset.number)
        .bind(1, observations)
        .run();
    size_t first = 0;
    for (size_t part = 0; part < dataset.tables.size(); ++part) {
        const StoredTable &table = dataset.tables[part];
        const std::string sql = labelled_selection(database, dataset, part, first, catalog);
        if (!sql.empty()) {
            const std::string view = free_name(database, table.name + "_labelled");
            database.run("CREATE VIEW " + quoted(view) + " AS " + sql);
            database.prepare("INSERT INTO vor_views VALUES(?1, ?2)").bind(0, dataset.number).bind(1, view).run();
        }
        make_triggers(database, dataset.number, table.name, part + 1);
        first += table.columns.size();
    }
}

} // namespace vor
