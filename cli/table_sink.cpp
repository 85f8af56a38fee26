#include "table_sink.h"

#include <vorhost/missing.h>

#include <fmt/format.h>
#include <unistd.h>
#include <utility>

namespace vor::cli {
namespace {

// Rows that are measured, and held, before they are shown.
constexpr size_t rows_per_block = 1000;
constexpr size_t longest_cell = 40;
constexpr size_t line_without_terminal = 1000; // columns, so that a pipe or a file gets lines that can be read

} // namespace

TableSink::TableSink(std::string labels, bool all, FormatLookup lookup)
    : labels_(std::move(labels)), all_(all), lookup_(std::move(lookup)) {}

void TableSink::begin(const DataSet &description) {
    const LabelLookup labels(description.label_tables, lookup_);
    std::vector<TextTable::Column> titles;
    for (const Variable &variable : description.variables) {
        const bool numeric = variable.kind == ValueKind::numeric;
        const UserFormat *format = labels_ != "codes" && numeric ? labels.find(variable) : nullptr;
        columns_.push_back({numeric, variable.stored == StoredType::float32, temporal_class(variable),
                            format ? &indexes_.try_emplace(format, *format).first->second : nullptr});
        const bool code_shown = !format || labels_ == "both";
        if (code_shown)
            titles.push_back({variable.name, numeric ? TextTable::Side::right : TextTable::Side::left});
        if (format)
            titles.push_back({code_shown ? variable.name + "_label" : variable.name, TextTable::Side::left});
    }
    table_.emplace(titles, longest_cell);
    const size_t columns = terminal_columns(STDOUT_FILENO);
    if (!all_)
        table_->fit(columns == 0 ? line_without_terminal : columns);
    all_columns_ = titles.size();
}

void TableSink::put(Batch &batch) {
    for (size_t row = 0; row < batch.rows; ++row) {
        std::vector<std::string> cells;
        for (size_t i = 0; i < columns_.size(); ++i)
            add_cells(cells, columns_[i], batch.columns[i], row);
        table_->add(cells);
        if (table_->rows() >= rows_per_block)
            write_standard_output(table_->take());
    }
}

void TableSink::finish() {
    if (!columns_.empty())
        write_standard_output(table_->take());
}

std::string TableSink::note_of_width() const {
    const size_t shown = table_->shown();
    return shown == all_columns_ ? std::string()
                                 : fmt::format("{} of {} columns are shown, as many as fit on a line; --all shows "
                                               "all of them, --keep those that you name.",
                                               shown, all_columns_);
}

void TableSink::add_cells(std::vector<std::string> &cells, const ShownColumn &column, const Column &values,
                          size_t row) const {
    if (column.numeric)
        add_number(cells, column, values.number(row));
    else
        cells.push_back(values.is_binary(row) ? fmt::format("({} bytes)", values.text(row).size())
                                              : std::string(values.text(row)));
}

void TableSink::add_number(std::vector<std::string> &cells, const ShownColumn &column, double value) const {
    const auto iso =
        column.temporal != Temporal::none && !is_missing(value) ? iso_text(column.temporal, value) : std::nullopt;
    const std::string code = iso ? *iso : column.single ? single_text(value) : number_text(value);
    const std::string *label = column.labels ? column.labels->find(value) : nullptr;
    if (!column.labels || labels_ == "both")
        cells.push_back(code);
    if (column.labels)
        cells.push_back(label ? *label : labels_ == "both" ? "" : code);
}

} // namespace vor::cli
