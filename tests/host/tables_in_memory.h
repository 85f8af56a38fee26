// Small data sets in memory, to be put into sinks and collected from sources.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <bit>
#include <gtest/gtest.h>
#include <string>
#include <variant>
#include <vector>

namespace vor::test {
inline namespace in_memory { // apart from the cells of Stata files

// Numbers equal themselves by their bits.
struct Cell {
    std::variant<double, std::string> value;
    Cell(double number) : value(number) {}
    Cell(int number) : value(static_cast<double>(number)) {}
    Cell(const char *text) : value(std::string(text)) {}
    Cell(std::string text) : value(std::move(text)) {}
    bool operator==(const Cell &other) const {
        const auto *left = std::get_if<double>(&value);
        const auto *right = std::get_if<double>(&other.value);
        if (left && right)
            return std::bit_cast<uint64_t>(*left) == std::bit_cast<uint64_t>(*right);
        return value == other.value;
    }
};

inline void PrintTo(const Cell &cell, std::ostream *out) {
    if (const auto *number = std::get_if<double>(&cell.value))
        *out << *number << " (" << std::hex << std::bit_cast<uint64_t>(*number) << std::dec << ")";
    else
        *out << '"' << std::get<std::string>(cell.value) << '"';
}

using Cells = std::vector<std::vector<Cell>>;

struct Table {
    DataSet description;
    Cells rows;
};

inline Variable numeric(const char *name, const char *format = "") {
    return {name, {}, ValueKind::numeric, 8, parse_format(format), {}};
}

// A number as a Stata file shows and stores it.
inline Variable shown(const char *name, const char *stata_format, StoredType stored = StoredType::float64) {
    return {name, {}, ValueKind::numeric, 8, {}, {}, stata_format, stored};
}

inline Variable character(const char *name, int length) {
    return {name, {}, ValueKind::character, length, {"$", length, 0}, {"$", length, 0}};
}

// A text that begins so stands for bytes that are none.
inline constexpr std::string_view binary_mark = "\xFF";

inline void append(Column &column, const Cell &cell) {
    if (const auto *number = std::get_if<double>(&cell.value))
        column.append(*number);
    else
        column.append_text(std::get<std::string>(cell.value),
                           std::get<std::string>(cell.value).starts_with(binary_mark));
}

inline Batch batch_of(const std::vector<Variable> &variables, const Cells &rows) {
    Batch batch;
    batch.start(variables, 0);
    for (const std::vector<Cell> &cells : rows) {
        for (size_t i = 0; i < cells.size(); ++i)
            append(batch.columns[i], cells[i]);
        batch.end_row(rows.size());
    }
    return batch;
}

// In batches of two rows.
inline void put_rows(BatchSink &sink, const Table &table) {
    sink.begin(table.description);
    for (size_t row = 0; row < table.rows.size(); row += 2) {
        const auto first = table.rows.begin() + static_cast<std::ptrdiff_t>(row);
        Batch batch = batch_of(table.description.variables, Cells(first, std::min(first + 2, table.rows.end())));
        sink.put(batch);
    }
}

inline void put(BatchSink &sink, const Table &table) {
    put_rows(sink, table);
    sink.finish();
}

inline Cell cell_of(const Column &column, size_t row) {
    if (!column.is_text())
        return column.number(row);
    EXPECT_EQ(column.is_binary(row), column.text(row).starts_with(binary_mark));
    return std::string(column.text(row));
}

inline Table collect(BatchSource &source) {
    Table table{source.description(), {}};
    const std::vector<Variable> &variables = table.description.variables;
    for (Batch batch; source.next(batch, 3);)
        for (size_t row = 0; row < batch.rows; ++row) {
            std::vector<Cell> cells;
            for (size_t i = 0; i < variables.size(); ++i) {
                cells.push_back(cell_of(batch.columns[i], row));
                if (const auto *text = std::get_if<std::string>(&cells.back().value)) {
                    EXPECT_LE(text->size(), static_cast<size_t>(variables[i].length))
                        << "the lengths hold for every row";
                }
            }
            table.rows.push_back(std::move(cells));
        }
    return table;
}

// The sentence of the ConversionError that an action throws, after a letter for its kind: "c: ", "u: " or "m: ".
template <typename Action>
std::string sentence_of(Action action) {
    try {
        action();
    } catch (const ConversionError &error) {
        constexpr const char *kinds[] = {"c: ", "u: ", "m: "};
        return kinds[static_cast<size_t>(error.failure())] + std::string(error.what());
    }
    return "nothing was thrown";
}

} // namespace in_memory
} // namespace vor::test
