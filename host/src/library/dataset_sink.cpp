#include "library/dataset_sink.h"

#include "library/dataset_writing.h"
#include "library/library_tables.h"
#include "text/number_text.h"

#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <array>
#include <bit>
#include <cmath>

namespace vor {

namespace {

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
