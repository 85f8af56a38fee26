// Small data sets in memory, to be put into sinks and collected from sources.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/rows.h>

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

class CellRow : public Row {
  public:
    explicit CellRow(const std::vector<Cell> &cells) : cells_(cells) {
        for (const Cell &cell : cells) {
            const auto *number = std::get_if<double>(&cell.value);
            positions_.push_back(static_cast<int64_t>(numbers_.size() * sizeof(double)));
            numbers_.push_back(number ? *number : 0);
        }
        set_positions(positions_.data());
        set_values(numbers_.data());
    }
    std::string_view text(size_t column) const override { return std::get<std::string>(cells_[column].value); }
    bool is_binary(size_t column) const override { return text(column).starts_with(binary_mark); }

  private:
    const std::vector<Cell> &cells_;
    std::vector<double> numbers_;
    std::vector<int64_t> positions_;
};

inline void put_rows(RowSink &sink, const Table &table) {
    sink.begin(table.description);
    for (const auto &cells : table.rows)
        sink.row(CellRow(cells));
}

inline void put(RowSink &sink, const Table &table) {
    put_rows(sink, table);
    sink.finish();
}

struct CellWriter : RowWriter {
    explicit CellWriter(size_t columns) : cells(columns, Cell("not set")) {}
    void set_number(size_t column, double value) override { cells.at(column) = value; }
    void set_text(size_t column, std::string_view text) override {
        EXPECT_FALSE(text.starts_with(binary_mark));
        cells.at(column) = std::string(text);
    }
    void set_bytes(size_t column, std::string_view bytes) override { cells.at(column) = std::string(bytes); }
    std::vector<Cell> cells;
};

inline Table collect(RowSource &source) {
    Table table{source.description(), {}};
    const std::vector<Variable> &variables = table.description.variables;
    for (;;) {
        CellWriter row(variables.size());
        if (!source.next(row))
            return table;
        for (size_t i = 0; i < variables.size(); ++i)
            if (const auto *text = std::get_if<std::string>(&row.cells[i].value)) {
                EXPECT_LE(text->size(), static_cast<size_t>(variables[i].length)) << "the lengths hold for every row";
            }
        table.rows.push_back(row.cells);
    }
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
