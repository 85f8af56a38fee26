// What data sets a library has, and one of them as a source.
#include "library/datasets.h"
#include "library/format_catalogs.h"
#include "library/library_tables.h"
#include "text/loss_counter.h"
#include "text/number_text.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <fmt/format.h>
#include <iterator>
#include <map>
#include <set>
#include <sqlite3.h>

namespace vor {

namespace {

// The description as it was stored, and where its columns are. version: of the library's tables.
void load_variables(Database &database, StoredDataset &dataset, int64_t version) {
    Statement rows = database.prepare(fmt::format(
        "SELECT name, label, type, length, format, format_width, format_decimals, informat, informat_width, "
        "informat_decimals, table_name, column_name, position, {} FROM vor_variables WHERE dataset_id = ?1 "
        "ORDER BY position",
        version == 1 ? "'', '', '', 0" : "stored_type, stata_format, label_table, sort_position"));
    rows.bind(0, dataset.number);
    const auto format_at = [&](int column) {
        return Format{std::string(rows.text(column)), static_cast<int>(rows.integer(column + 1)),
                      static_cast<int>(rows.integer(column + 2))};
    };
    std::map<int64_t, std::string> sort;
    while (rows.step()) {
        Variable variable{std::string(rows.text(0)),
                          std::string(rows.text(1)),
                          kind_of_name(rows.text(2)).value_or(ValueKind::character),
                          8,
                          format_at(4),
                          format_at(7)};
        set_stored_type(variable, rows.text(13));
        variable.length = static_cast<int>(rows.integer(3));
        variable.stata_format = rows.text(14);
        variable.label_table = rows.text(15);
        if (rows.integer(16) != 0)
            sort.emplace(rows.integer(16), variable.name);
        dataset.description.variables.push_back(std::move(variable));
        dataset.positions.push_back(rows.integer(12));
        if (dataset.tables.empty() || dataset.tables.back().name != rows.text(10))
            dataset.tables.push_back({std::string(rows.text(10)), {}});
        dataset.tables.back().columns.emplace_back(rows.text(11));
    }
    for (auto &[position, name] : sort)
        dataset.description.sort.push_back(std::move(name));
}

void load_characteristics(Database &database, StoredDataset &dataset) {
    Statement rows =
        database.prepare("SELECT owner, name, text FROM vor_characteristics WHERE dataset_id = ?1 ORDER BY position");
    rows.bind(0, dataset.number);
    while (rows.step())
        dataset.description.characteristics.push_back(
            {std::string(rows.text(0)), std::string(rows.text(1)), std::string(rows.text(2))});
}

// Of a catalog that other data sets have too, those that the variables use.
std::vector<UserFormat> label_tables_of(Database &database, const StoredDataset &dataset) {
    if (dataset.own_catalog)
        return load_catalog(database, dataset.catalog);
    std::vector<UserFormat> tables;
    std::set<std::string> taken;
    for (const Variable &variable : dataset.description.variables) {
        UserFormat format;
        if (!dataset.catalog.empty() && !labels_name(variable).empty() &&
            load_format(database, dataset.catalog, labels_name(variable), format) && taken.insert(format.name).second)
            tables.push_back(std::move(format));
    }
    return tables;
}

// What others have done to the data set's tables: a column that is gone is an error, one that is new becomes a
// variable after those of its table.
void compare_columns(Database &database, StoredDataset &dataset, const Notes &notes) {
    size_t variable = 0; // the one after those of the table
    for (StoredTable &table : dataset.tables) {
        const std::vector<std::string> columns = columns_of_table(database, table.name);
        std::set<std::string> there; // in lower case
        for (const std::string &column : columns)
            there.insert(lower_case(column));
        for (const std::string &column : table.columns)
            if (there.erase(lower_case(column)) == 0)
                throw ConversionError(
                    Failure::conversion,
                    fmt::format("{0}: the table {1} no longer has the column {2}, which the data set {3} needs. If it "
                                "has another name now, give it this one back; if it is to go, run DELETE FROM "
                                "vor_variables WHERE table_name = {4} AND column_name = {5}.",
                                database.name(), table.name, column, dataset.description.name, literal(table.name),
                                literal(column)));
        variable += table.columns.size();
        there.erase(row_column);
        there.erase("vor_no_variables"); // of a data set without variables in older libraries
        StoredTable added{table.name, {}};
        std::copy_if(columns.begin(), columns.end(), std::back_inserter(added.columns),
                     [&](const std::string &name) { return there.contains(lower_case(name)); });
        if (added.columns.empty())
            continue;
        int64_t rows = 0;
        const std::vector<Variable> found = look_through_columns(database, added, notes, rows);
        auto &variables = dataset.description.variables;
        variables.insert(variables.begin() + static_cast<std::ptrdiff_t>(variable), found.begin(), found.end());
        dataset.positions.insert(dataset.positions.begin() + static_cast<std::ptrdiff_t>(variable), found.size(), 0);
        table.columns.insert(table.columns.end(), added.columns.begin(), added.columns.end());
        variable += found.size();
        if (notes)
            notes(fmt::format("The table {} has got new columns since the import; what they hold is found in their "
                              "values: {}.",
                              table.name, fmt::join(added.columns, ", ")));
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

StoredDataset load_dataset(Database &database, const std::string &name, const Notes &notes) {
    const int64_t version = version_of_tables(database);
    Statement row = database.prepare(
        fmt::format("SELECT dataset_id, name, label, table_name, observations, catalog, {} FROM vor_datasets "
                    "WHERE name = ?1",
                    version == 1 ? "0, ''" : "own_catalog, timestamp"));
    row.bind(0, name).step();
    StoredDataset dataset;
    dataset.number = row.integer(0);
    dataset.catalog = row.text(5);
    dataset.own_catalog = row.integer(6) != 0;
    dataset.description.name = row.text(1);
    dataset.description.label = row.text(2);
    dataset.description.timestamp = row.text(7);
    load_variables(database, dataset, version);
    if (version > 1)
        load_characteristics(database, dataset);
    dataset.description.label_tables = label_tables_of(database, dataset);
    if (dataset.tables.empty())
        dataset.tables.push_back({std::string(row.text(3)), {}});
    compare_columns(database, dataset, notes);
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
    if (version_of_tables(database) != 0)
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
    return held_under(database, name) == Held::dataset ? load_dataset(database, name, notes)
                                                       : look_through_table(database, name, notes);
}

namespace {

// "SELECT _rowid_, columns" from a table of ours in the order of its rows, "SELECT columns" from a plain one.
std::string selection(const StoredTable &table, bool ours) {
    std::string sql = ours ? "SELECT _rowid_" : "SELECT ";
    for (size_t i = 0; i < table.columns.size(); ++i) {
        if (ours || i != 0)
            sql += ", ";
        sql += quoted(table.columns[i]);
    }
    return sql + " FROM " + quoted(table.name) + (ours ? " ORDER BY _rowid_" : "");
}

// The values of vor_missing and vor_exact in the order of observations and variables, one at a time.
class SpecialValues {
  public:
    SpecialValues() = default;
    SpecialValues(Database &database, int64_t dataset)
        : rows_(database.prepare("SELECT observation, position, mark, NULL FROM vor_missing WHERE dataset_id = ?1 "
                                 "UNION ALL "
                                 "SELECT observation, position, NULL, bits FROM vor_exact WHERE dataset_id = ?1 "
                                 "ORDER BY 1, 2")) {
        rows_.bind(0, dataset);
        more_ = rows_.step();
    }

    // The special value of a cell, 0 when there is none. Cells are asked for in ascending order.
    bool find(int64_t observation, int64_t position, double &value) {
        while (more_ &&
               (rows_.integer(0) < observation || (rows_.integer(0) == observation && rows_.integer(1) < position)))
            more_ = rows_.step();
        if (!more_ || rows_.integer(0) != observation || rows_.integer(1) != position)
            return false;
        value = rows_.is_null(2) ? std::bit_cast<double>(rows_.integer(3))
                                 : parse_number_text(rows_.text(2)).value_or(missing_value('.'));
        return true;
    }

    bool any_in(int64_t observation) {
        while (more_ && rows_.integer(0) < observation)
            more_ = rows_.step();
        return more_ && rows_.integer(0) == observation;
    }

  private:
    Statement rows_;
    bool more_ = false;
};

struct SourceColumn {
    ValueKind kind;
    Temporal temporal;
    bool may_be_binary;
    LossCounter inside = {};  // of a period, which alone is kept
    LossCounter inexact = {}; // integers that a double does not hold
};

class DatasetSource : public BatchSource {
  public:
    DatasetSource(std::shared_ptr<LibraryFile> library, const std::string &name, const Notes &notes,
                  const Notes &warnings);
    const DataSet &description() const override { return dataset_.description; }
    bool next(Batch &batch, size_t most_rows) override;
    bool rewind() override;
    int64_t skip(int64_t rows) override;

  private:
    bool step_all();
    void warn();
    void take_row(Batch &batch);
    double number(size_t variable, sqlite3_value *value, bool special_row);
    void append_text(Column &values, size_t variable, sqlite3_value *value);
    double number_in_text(size_t variable, sqlite3_value *value);
    [[noreturn]] void refuse(size_t variable, const std::string &reason) const;

    std::shared_ptr<LibraryFile> library_;
    Notes warnings_;     // until they have been given
    Statement snapshot_; // an open statement: until it ends, other programs' changes are not seen
    StoredDataset dataset_;
    std::vector<Statement> parts_;
    std::vector<SourceColumn> columns_;
    SpecialValues specials_;
    int64_t rowid_ = 0;
    int64_t row_ = 0; // from 1
    bool ended_ = false;
};

std::string_view text_of(sqlite3_value *value) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return text ? std::string_view(text, static_cast<size_t>(sqlite3_value_bytes(value))) : std::string_view();
}

std::string_view bytes_of(sqlite3_value *value) {
    const auto *bytes = static_cast<const char *>(sqlite3_value_blob(value));
    return bytes ? std::string_view(bytes, static_cast<size_t>(sqlite3_value_bytes(value))) : std::string_view();
}

DatasetSource::DatasetSource(std::shared_ptr<LibraryFile> library, const std::string &name, const Notes &notes,
                             const Notes &warnings)
    : library_(std::move(library)), warnings_(warnings),
      snapshot_(library_->database().prepare("SELECT count(*) FROM sqlite_master")) {
    Database &database = library_->database();
    snapshot_.step();
    dataset_ = find_dataset(database, name, notes);
    for (const StoredTable &table : dataset_.tables)
        parts_.push_back(database.prepare(selection(table, dataset_.number != 0)));
    for (const Variable &variable : dataset_.description.variables)
        columns_.push_back({variable.kind, temporal_class(variable), variable.stored == StoredType::long_text});
    rewind();
}

bool DatasetSource::rewind() {
    for (Statement &part : parts_)
        part.reset();
    if (dataset_.number != 0)
        specials_ = SpecialValues(library_->database(), dataset_.number);
    for (SourceColumn &column : columns_)
        column.inside = column.inexact = {};
    rowid_ = row_ = 0;
    ended_ = false;
    return true;
}

// Moves every table of the data set to its next row.
bool DatasetSource::step_all() {
    const bool more = parts_.front().step();
    rowid_ = more && dataset_.number != 0 ? parts_.front().integer(0) : 0;
    for (size_t part = 1; part < parts_.size(); ++part) {
        if (parts_[part].step() != more || (more && parts_[part].integer(0) != rowid_))
            throw ConversionError(Failure::conversion,
                                  fmt::format("{}: the tables {} and {} of the data set {} do not hold the same rows.",
                                              library_->path(), dataset_.tables[0].name, dataset_.tables[part].name,
                                              dataset_.description.name));
    }
    if (!more)
        warn();
    row_ += more ? 1 : 0;
    return more;
}

void DatasetSource::warn() {
    const auto say = [&](size_t variable, const LossCounter &counter, const char *what) {
        if (counter)
            warnings_(fmt::format("{}: variable {}: {}.", dataset_.description.name,
                                  dataset_.description.variables[variable].name, counter.sentence(what)));
    };
    for (size_t i = 0; warnings_ && i < columns_.size(); ++i) {
        say(i, columns_[i].inside, "inside a period, taken as the whole of it");
        say(i, columns_[i].inexact, "beyond 2^53, where a double does not hold every integer");
    }
    warnings_ = {};
}

int64_t DatasetSource::skip(int64_t rows) {
    int64_t passed = 0;
    while (passed < rows && !ended_) {
        ended_ = !step_all();
        passed += ended_ ? 0 : 1;
    }
    return passed;
}

bool DatasetSource::next(Batch &batch, size_t most_rows) {
    batch.start(dataset_.description.variables, row_);
    while (!ended_) {
        ended_ = !step_all();
        if (ended_)
            break;
        take_row(batch);
        if (batch.end_row(most_rows))
            break;
    }
    return batch.rows != 0;
}

void DatasetSource::take_row(Batch &batch) {
    const int first_column = dataset_.number != 0 ? 1 : 0;
    const bool special_row = dataset_.number != 0 && specials_.any_in(rowid_);
    size_t variable = 0;
    for (const Statement &part : parts_) {
        const int columns = part.columns();
        for (int column = first_column; column < columns; ++column, ++variable) {
            Column &values = batch.columns[variable];
            if (columns_[variable].kind == ValueKind::numeric)
                values.append(number(variable, part.value(column), special_row));
            else
                append_text(values, variable, part.value(column));
        }
    }
}

double DatasetSource::number(size_t variable, sqlite3_value *value, bool special_row) {
    double number = missing_value('.');
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        if (!held_exactly(sqlite3_value_int64(value)))
            columns_[variable].inexact.add(row_);
        [[fallthrough]];
    case SQLITE_FLOAT:
        number = sqlite3_value_double(value);
        break;
    case SQLITE_TEXT:
        number = number_in_text(variable, value);
        break;
    case SQLITE_BLOB:
        refuse(variable, "is a BLOB; a number was expected");
    default:
        break;
    }
    // What somebody has put into a cell since counts more than what once stood there.
    if (special_row && (number == 0 || is_missing(number))) {
        double special = 0;
        if (specials_.find(rowid_, dataset_.positions[variable], special) && (special == 0) == (number == 0))
            number = special;
    }
    return number;
}

double DatasetSource::number_in_text(size_t variable, sqlite3_value *value) {
    const std::string_view text = text_of(value);
    if (const auto moment = parse_moment(columns_[variable].temporal, text)) {
        if (moment->inside)
            columns_[variable].inside.add(row_);
        return moment->value;
    }
    const auto number = parse_number_text(text);
    if (!number)
        refuse(variable, "holds a text where a number, date or time was expected");
    return *number;
}

void DatasetSource::append_text(Column &values, size_t variable, sqlite3_value *value) {
    std::array<char, number_text_max_bytes> digits;
    std::string_view text;
    switch (sqlite3_value_type(value)) {
    case SQLITE_TEXT:
        text = text_of(value);
        if (!is_utf8(text))
            refuse(variable, "holds bytes that are not UTF-8");
        break;
    case SQLITE_INTEGER:
        text = {digits.data(),
                std::to_chars(digits.data(), digits.data() + digits.size(), sqlite3_value_int64(value)).ptr};
        break;
    case SQLITE_FLOAT:
        text = {digits.data(), write_number(sqlite3_value_double(value), digits.data())};
        break;
    case SQLITE_BLOB:
        if (!columns_[variable].may_be_binary)
            refuse(variable, "is a BLOB; a text was expected");
        return values.append_text(bytes_of(value), true);
    default:
        break;
    }
    values.append_text(text);
}

void DatasetSource::refuse(size_t variable, const std::string &reason) const {
    throw ConversionError(Failure::conversion,
                          fmt::format("{}: row {}, column {} ({}) of the data set {} {}.", library_->path(), row_,
                                      variable + 1, dataset_.description.variables[variable].name,
                                      dataset_.description.name, reason));
}

} // namespace

std::unique_ptr<BatchSource> make_dataset_source(std::shared_ptr<LibraryFile> library, const std::string &name,
                                                 const Notes &notes, const Notes &warnings) {
    return std::make_unique<DatasetSource>(std::move(library), name, notes, warnings);
}

std::string catalog_of_dataset(Database &database, const std::string &name) {
    if (version_of_tables(database) == 0)
        return {};
    Statement find = database.prepare("SELECT catalog FROM vor_datasets WHERE name = ?1");
    return find.bind(0, name).step() ? std::string(find.text(0)) : std::string();
}

} // namespace vor
