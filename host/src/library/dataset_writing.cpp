// Batches into a data set of a library: its tables, and the views that show labels in place of codes.
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
#include <optional>
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

std::string labelled_column(const StoredDataset &dataset, size_t index, const std::string &column, int64_t format) {
    const Variable &variable = dataset.description.variables[index];
    std::string value =
        fmt::format(fmt::runtime(labelled_value), fmt::arg("format", format), fmt::arg("column", column));
    if (variable.kind == ValueKind::character)
        return value;
    const std::string missing = fmt::format(fmt::runtime(labelled_missing), fmt::arg("format", format),
                                            fmt::arg("dataset", dataset.number), fmt::arg("position", index + 1));
    // A date stands as a text, so only its missing values can have labels here.
    return fmt::format("CASE WHEN {} IS NULL THEN {} ELSE {} END", column, missing,
                       temporal_class(variable) == Temporal::none ? value : column);
}

// The variable's labels in the catalog; 0: it has none. The format of a date is no table of labels.
int64_t format_of(Database &database, const Variable &variable, const std::string &catalog) {
    const std::string &name = labels_name(variable);
    const bool dated = variable.label_table.empty() && (temporal_class(variable) != Temporal::none ||
                                                        temporal_class(variable.format) != Temporal::none);
    return name.empty() || dated ? 0 : find_format(database, catalog, name);
}

// The SELECT over one table of a data set; empty when none of its variables has labels in the catalog. part: which
// table; first: the index of its first variable.
std::string labelled_selection(Database &database, const StoredDataset &dataset, size_t part, size_t first,
                               const std::string &catalog) {
    const StoredTable &table = dataset.tables[part];
    std::string sql = "SELECT ";
    bool any = false;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        const int64_t number = format_of(database, dataset.description.variables[first + i], catalog);
        const std::string name = quoted(table.columns[i]);
        const std::string column = "t." + name;
        any = any || number != 0;
        sql += i == 0 ? "" : ", ";
        sql += (number != 0 ? labelled_column(dataset, first + i, column, number) : column) + " AS " + name;
    }
    return any ? sql + " FROM " + quoted(table.name) + " AS t" : std::string();
}

// A name that nothing in the library has: the stem itself, or with a number.
std::string free_name(Database &database, const std::string &stem) {
    std::string name = stem;
    for (int number = 2; held_under(database, name) != Held::nothing; ++number)
        name = fmt::format("{}_{}", stem, number);
    return name;
}

// Names of columns for variables. Rows are found by _rowid_ and their column, so no other may have these names.
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
    std::unordered_set<std::string> taken_ = {"_rowid_", row_column};
};

std::vector<std::string> texts_of(Statement &statement) {
    std::vector<std::string> texts;
    while (statement.step())
        texts.emplace_back(statement.text(0));
    return texts;
}

const char *column_type(const Variable &variable) {
    if (variable.kind != ValueKind::numeric || temporal_class(variable) != Temporal::none)
        return "TEXT";
    const bool integers = variable.stored == StoredType::int8 || variable.stored == StoredType::int16 ||
                          variable.stored == StoredType::int32;
    return integers ? "INTEGER" : "REAL";
}

void make_table(Database &database, const StoredTable &table, const std::vector<Variable> &variables, size_t first) {
    std::string sql = "CREATE TABLE " + quoted(table.name) + "(";
    for (size_t i = 0; i < table.columns.size(); ++i)
        sql += fmt::format("{} {}, ", quoted(table.columns[i]), column_type(variables[first + i]));
    database.run(sql + row_column + " INTEGER PRIMARY KEY)");
}

// sort_position: of the variable among those by which the data set is sorted, from 1; 0: it is none of them.
void store_variable(Database &database, int64_t dataset, size_t position, const Variable &variable,
                    const StoredTable &table, int64_t sort_position) {
    const std::string stored = stored_type_text(variable);
    Statement &row = database.kept("INSERT INTO vor_variables VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, "
                                   "?12, ?13, ?14, ?15, ?16, ?17, ?18)");
    row.bind(0, dataset).bind(1, static_cast<int64_t>(position)).bind(2, variable.name).bind(3, variable.label);
    row.bind(4, std::string_view(kind_name(variable.kind)));
    row.bind(5, variable.length);
    row.bind(6, variable.format.name).bind(7, variable.format.width).bind(8, variable.format.decimals);
    row.bind(9, variable.informat.name).bind(10, variable.informat.width).bind(11, variable.informat.decimals);
    row.bind(12, table.name).bind(13, table.columns.back());
    row.bind(14, stored).bind(15, variable.stata_format).bind(16, variable.label_table).bind(17, sort_position).run();
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

// ConversionError (usage) when a data set cannot take this name from what has it: a view, a table of another one or of
// somebody else.
void check_replaceable(Database &database, const std::string &name, Library::Tables others) {
    const char *reason = nullptr;
    switch (held_under(database, name)) {
    case Held::table:
        if (others == Library::Tables::replaced)
            return;
        reason = "a table in the library has that name, and no import made it; --replace lets it go";
        break;
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
    Statement find = database.prepare("SELECT dataset_id, own_catalog, catalog FROM vor_datasets WHERE name = ?1");
    find.bind(0, name).step();
    const int64_t number = find.integer(0);
    if (find.integer(1) != 0)
        remove_catalog(database, std::string(find.text(2)));
    find.reset();
    Statement views = database.prepare("SELECT view_name FROM vor_views WHERE dataset_id = ?1");
    for (const std::string &view : texts_of(views.bind(0, number)))
        database.run("DROP VIEW IF EXISTS " + quoted(view));
    Statement tables = database.prepare("SELECT table_name FROM vor_datasets WHERE dataset_id = ?1 "
                                        "UNION SELECT table_name FROM vor_variables WHERE dataset_id = ?1");
    for (const std::string &table : texts_of(tables.bind(0, number)))
        database.run("DROP TABLE IF EXISTS " + quoted(table));
    for (const char *table :
         {"vor_missing", "vor_exact", "vor_views", "vor_characteristics", "vor_variables", "vor_datasets"})
        database.run(fmt::format("DELETE FROM {} WHERE dataset_id = {}", table, number));
}

// Stores the data set's name and where its user formats are. catalog: as Library::dataset_sink.
StoredDataset name_dataset(Database &database, const std::string &name, const std::optional<std::string> &catalog) {
    StoredDataset named;
    named.catalog = catalog ? *catalog : free_catalog(database, name);
    named.own_catalog = !catalog;
    database
        .prepare("INSERT INTO vor_datasets(name, label, table_name, catalog, observations, own_catalog) "
                 "VALUES(?1, '', ?1, ?2, 0, ?3)")
        .bind(0, name)
        .bind(1, named.catalog)
        .bind(2, named.own_catalog ? 1 : 0)
        .run();
    named.number = database.last_row();
    named.tables.push_back({name, {}});
    return named;
}

void store_characteristics(Database &database, const StoredDataset &dataset) {
    int64_t position = 0;
    for (const Characteristic &one : dataset.description.characteristics)
        database.kept("INSERT INTO vor_characteristics VALUES(?1, ?2, ?3, ?4, ?5)")
            .bind(0, dataset.number)
            .bind(1, ++position)
            .bind(2, one.of)
            .bind(3, one.name)
            .bind(4, one.text)
            .run();
}

// Makes the tables, empty. Columns get their variables' names, made different where they differ only in letter case;
// variables that are more than a table can have columns go into further tables.
void make_tables(Database &database, StoredDataset &dataset) {
    const auto &variables = dataset.description.variables;
    const auto &sort = dataset.description.sort;
    const auto most = static_cast<size_t>(database.most_columns()) - 1; // beside the one of the rows' numbers
    const std::string name = dataset.tables.front().name;
    ColumnNames names;
    size_t first = 0; // of the table being filled
    for (size_t i = 0; i < variables.size(); ++i) {
        if (dataset.tables.back().columns.size() == most) {
            make_table(database, dataset.tables.back(), variables, first);
            dataset.tables.push_back({free_name(database, fmt::format("{}_{}", name, dataset.tables.size() + 1)), {}});
            first = i;
        }
        dataset.tables.back().columns.push_back(names.name_for(variables[i], i + 1));
        const auto key = std::find(sort.begin(), sort.end(), variables[i].name);
        store_variable(database, dataset.number, i + 1, variables[i], dataset.tables.back(),
                       key == sort.end() ? 0 : key - sort.begin() + 1);
    }
    make_table(database, dataset.tables.back(), variables, first);
}

void store_description(Database &database, StoredDataset &dataset, const DataSet &description) {
    dataset.description = description;
    database.prepare("UPDATE vor_datasets SET label = ?2, timestamp = ?3 WHERE dataset_id = ?1")
        .bind(0, dataset.number)
        .bind(1, description.label)
        .bind(2, description.timestamp)
        .run();
    make_tables(database, dataset);
    store_characteristics(database, dataset);
    if (!dataset.catalog.empty())
        for (const UserFormat &table : description.label_tables)
            store_format(database, dataset.catalog, table);
}

// After the last row: stores the number of observations, makes the views with labels, and the triggers that notice
// changes made by others.
void complete_dataset(Database &database, const StoredDataset &dataset, int64_t observations) {
    database.prepare("UPDATE vor_datasets SET observations = ?2 WHERE dataset_id = ?1")
        .bind(0, dataset.number)
        .bind(1, observations)
        .run();
    size_t first = 0;
    for (size_t part = 0; part < dataset.tables.size(); ++part) {
        const StoredTable &table = dataset.tables[part];
        const std::string sql = labelled_selection(database, dataset, part, first, dataset.catalog);
        if (!sql.empty()) {
            const std::string view = free_name(database, table.name + "_labelled");
            database.run("CREATE VIEW " + quoted(view) + " AS " + sql);
            database.prepare("INSERT INTO vor_views VALUES(?1, ?2)").bind(0, view).bind(1, dataset.number).run();
        }
        make_triggers(database, dataset.number, table.name, part + 1);
        first += table.columns.size();
    }
}

struct SinkColumn {
    ValueKind kind;
    Temporal temporal;
};

// Dates and times as text until their row has been stored.
using MomentText = std::array<char, iso_text_max_bytes>;
static_assert(iso_text_max_bytes >= number_text_max_bytes);

class DatasetSink : public BatchSink {
  public:
    DatasetSink(std::shared_ptr<LibraryFile> library, const std::string &name,
                const std::optional<std::string> &catalog, Library::Tables others)
        : library_(std::move(library)) {
        if (const std::string fault = fault_of_dataset_name(name); !fault.empty())
            throw ConversionError(Failure::usage, fault);
        scope_ = std::make_unique<WriteScope>(library_);
        check_replaceable(library_->database(), name, others);
        remove_dataset(library_->database(), name);
        dataset_ = name_dataset(library_->database(), name, catalog);
    }

    void begin(const DataSet &description) override;
    void put(Batch &batch) override;
    void finish() override;

  private:
    void put_row(const Batch &batch, size_t row);
    void bind(Statement &insert, int parameter, size_t variable, const Column &values, size_t row);
    void bind_number(Statement &insert, int parameter, size_t variable, double value);
    void bind_moment(Statement &insert, int parameter, size_t variable, double value);
    void store_mark(size_t variable, double value);
    void store_bits(size_t variable, double value);

    std::shared_ptr<LibraryFile> library_;
    std::unique_ptr<WriteScope> scope_; // before the statements: they end first
    StoredDataset dataset_;
    std::vector<SinkColumn> columns_;
    std::vector<MomentText> moments_;
    std::vector<Statement> inserts_;
    Statement insert_mark_;
    Statement insert_bits_;
    int64_t rows_ = 0;
};

std::string insertion(const StoredTable &table) {
    std::string sql = "INSERT INTO " + quoted(table.name) + " VALUES(";
    for (size_t i = 0; i < table.columns.size(); ++i)
        sql += "?,";
    return sql + "?)";
}

void DatasetSink::begin(const DataSet &description) {
    Database &database = library_->database();
    store_description(database, dataset_, description);
    for (const StoredTable &table : dataset_.tables)
        inserts_.push_back(database.prepare(insertion(table)));
    for (const Variable &variable : description.variables)
        columns_.push_back({variable.kind, temporal_class(variable)});
    moments_.resize(columns_.size());
    insert_mark_ = database.prepare("INSERT INTO vor_missing VALUES(?1, ?2, ?3, ?4)");
    insert_bits_ = database.prepare("INSERT INTO vor_exact VALUES(?1, ?2, ?3, ?4)");
}

void DatasetSink::put(Batch &batch) {
    for (size_t row = 0; row < batch.rows; ++row)
        put_row(batch, row);
}

void DatasetSink::put_row(const Batch &batch, size_t row) {
    ++rows_;
    size_t variable = 0;
    for (size_t part = 0; part < inserts_.size(); ++part) {
        const size_t columns = dataset_.tables[part].columns.size();
        for (size_t column = 0; column < columns; ++column, ++variable)
            bind(inserts_[part], static_cast<int>(column), variable, batch.columns[variable], row);
        inserts_[part].bind(static_cast<int>(columns), rows_).run();
    }
}

void DatasetSink::bind(Statement &insert, int parameter, size_t variable, const Column &values, size_t row) {
    const SinkColumn &column = columns_[variable];
    if (column.kind == ValueKind::character && values.is_binary(row))
        insert.bind_bytes(parameter, values.text(row));
    else if (column.kind == ValueKind::character)
        insert.bind(parameter, values.text(row));
    else if (column.temporal == Temporal::none)
        bind_number(insert, parameter, variable, values.number(row));
    else
        bind_moment(insert, parameter, variable, values.number(row));
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
    MomentText &text = moments_[variable];
    size_t bytes = write_iso(columns_[variable].temporal, value, text.data());
    if (bytes == 0)
        bytes = static_cast<size_t>(write_number(value, text.data()) - text.data());
    insert.bind(parameter, std::string_view(text.data(), bytes));
}

// The cell is NULL, which alone is the standard missing value.
void DatasetSink::store_mark(size_t variable, double value) {
    const char mark = missing_mark(value);
    if (mark == 0)
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
    complete_dataset(library_->database(), dataset_, rows_);
    scope_->commit();
}

} // namespace

std::unique_ptr<BatchSink> make_dataset_sink(std::shared_ptr<LibraryFile> library, const std::string &name,
                                             const std::optional<std::string> &catalog, Library::Tables others) {
    return std::make_unique<DatasetSink>(std::move(library), name, catalog, others);
}

} // namespace vor
