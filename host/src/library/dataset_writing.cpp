// Rows into a data set of a library: its tables, and the views that show labels in place of codes.
#include "library/database.h"
#include "library/datasets.h"
#include "library/format_catalogs.h"
#include "library/library_tables.h"
#include "text/number_text.h"

#include <vorhost/ascii.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <fmt/format.h>
#include <string>
#include <unordered_set>
#include <vector>

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

// The SELECT over one table of a data set; empty when none of its variables has a user format in the catalog. part:
// which table; first: the index of its first variable.
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
    row.bind(4, std::string_view(kind_name(variable.kind)));
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

// ConversionError (usage) when a data set cannot take this name from what has it: a view, or a table of another one.
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

// Removes the data set or the plain table of this name, if there is one.
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

// Makes the tables, empty, and stores the description. Columns get their variables' names, made different where they
// differ only in letter case; variables that are more than a table can have columns go into further tables.
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

// After the last row: stores the number of observations, makes the views with labels, and the triggers that notice
// changes made by others.
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

struct Column {
    ValueKind kind;
    Temporal temporal;
};

// Dates and times as text until their row has been stored.
using Moment = std::array<char, iso_text_max_bytes>;
static_assert(iso_text_max_bytes >= number_text_max_bytes);

class DatasetSink : public RowSink {
  public:
    DatasetSink(std::shared_ptr<LibraryFile> library, const std::string &name, const std::string &catalog)
        : library_(std::move(library)), name_(name), catalog_(catalog) {
        if (const std::string fault = fault_of_dataset_name(name); !fault.empty())
            throw ConversionError(Failure::usage, fault);
        scope_ = std::make_unique<WriteScope>(library_);
        check_replaceable(library_->database(), name_);
    }

    void begin(const DataSet &description) override;
    void row(const Row &row) override;
    void finish() override;

  private:
    void bind(Statement &insert, int parameter, size_t variable, const Row &row);
    void bind_number(Statement &insert, int parameter, size_t variable, double value);
    void bind_moment(Statement &insert, int parameter, size_t variable, double value);
    void store_mark(size_t variable, double value);
    void store_bits(size_t variable, double value);

    std::shared_ptr<LibraryFile> library_;
    std::string name_;
    std::string catalog_;
    std::unique_ptr<WriteScope> scope_; // before the statements: they end first
    StoredDataset dataset_;
    std::vector<Column> columns_;
    std::vector<Moment> moments_;
    std::vector<Statement> inserts_;
    Statement insert_mark_;
    Statement insert_bits_;
    int64_t rows_ = 0;
};

std::string insertion(const StoredTable &table) {
    if (table.columns.empty())
        return "INSERT INTO " + quoted(table.name) + " DEFAULT VALUES";
    std::string sql = "INSERT INTO " + quoted(table.name) + " VALUES(?";
    for (size_t i = 1; i < table.columns.size(); ++i)
        sql += ",?";
    return sql + ")";
}

void DatasetSink::begin(const DataSet &description) {
    Database &database = library_->database();
    remove_dataset(database, name_);
    dataset_ = make_dataset(database, name_, catalog_, description);
    for (const StoredTable &table : dataset_.tables)
        inserts_.push_back(database.prepare(insertion(table)));
    for (const Variable &variable : description.variables)
        columns_.push_back(
            {variable.kind, variable.kind == ValueKind::numeric ? temporal_class(variable.format) : Temporal::none});
    moments_.resize(columns_.size());
    insert_mark_ = database.prepare("INSERT INTO vor_missing VALUES(?1, ?2, ?3, ?4)");
    insert_bits_ = database.prepare("INSERT INTO vor_exact VALUES(?1, ?2, ?3, ?4)");
}

void DatasetSink::row(const Row &row) {
    ++rows_;
    size_t variable = 0;
    for (size_t part = 0; part < inserts_.size(); ++part) {
        const size_t columns = dataset_.tables[part].columns.size();
        for (size_t column = 0; column < columns; ++column, ++variable)
            bind(inserts_[part], static_cast<int>(column), variable, row);
        inserts_[part].run();
    }
}

void DatasetSink::bind(Statement &insert, int parameter, size_t variable, const Row &row) {
    const Column &column = columns_[variable];
    if (column.kind == ValueKind::character)
        insert.bind(parameter, row.text(variable));
    else if (column.temporal == Temporal::none)
        bind_number(insert, parameter, variable, row.number(variable));
    else
        bind_moment(insert, parameter, variable, row.number(variable));
}

void DatasetSink::bind_number(Statement &insert, int parameter, size_t variable, double value) {
    if (std::isnan(value)) {
        store_mark(variable, value);
        insert.bind_null(parameter);
        return;
    }
    if (value == 0 && std::signbit(value))
        store_bits(variable, value); // SQLite stores 0 for it
    insert.bind(parameter, value);
}

void DatasetSink::bind_moment(Statement &insert, int parameter, size_t variable, double value) {
    if (std::isnan(value)) {
        store_mark(variable, value);
        insert.bind_null(parameter);
        return;
    }
    Moment &text = moments_[variable];
    size_t bytes = write_iso(columns_[variable].temporal, value, text.data());
    if (bytes == 0)
        bytes = static_cast<size_t>(write_number(value, text.data()) - text.data());
    insert.bind(parameter, std::string_view(text.data(), bytes));
}

// The cell is NULL, which alone is the standard missing value.
void DatasetSink::store_mark(size_t variable, double value) {
    const char mark = missing_mark(value);
    if (mark == 0 || std::bit_cast<uint64_t>(value) != std::bit_cast<uint64_t>(missing_value(mark)))
        return store_bits(variable, value);
    if (mark == '.')
        return;
    std::array<char, number_text_max_bytes> text;
    const char *end = write_number(value, text.data());
    insert_mark_.bind(0, dataset_.number)
        .bind(1, rows_)
        .bind(2, static_cast<int64_t>(variable) + 1)
        .bind(3, std::string_view(text.data(), static_cast<size_t>(end - text.data())))
        .run();
}

void DatasetSink::store_bits(size_t variable, double value) {
    insert_bits_.bind(0, dataset_.number)
        .bind(1, rows_)
        .bind(2, static_cast<int64_t>(variable) + 1)
        .bind(3, std::bit_cast<int64_t>(value))
        .run();
}

void DatasetSink::finish() {
    inserts_.clear();
    insert_mark_ = {};
    insert_bits_ = {};
    complete_dataset(library_->database(), dataset_, catalog_, rows_);
    scope_->commit();
}

} // namespace

std::unique_ptr<RowSink> make_dataset_sink(std::shared_ptr<LibraryFile> library, const std::string &name,
                                           const std::string &catalog) {
    return std::make_unique<DatasetSink>(std::move(library), name, catalog);
}

} // namespace vor
