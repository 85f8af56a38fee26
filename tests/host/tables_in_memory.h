// Small data sets in memory, to be put into sinks and collected from sources, and files for a test.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/rows.h>

#include <bit>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <variant>
#include <vector>

namespace vor::test {

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

inline Variable character(const char *name, int length) {
    return {name, {}, ValueKind::character, length, {"$", length, 0}, {"$", length, 0}};
}

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

class CellWriter : public RowWriter {
  public:
    void set_number(size_t column, double value) override { cells.at(column) = value; }
    void set_text(size_t column, std::string_view text) override { cells.at(column) = std::string(text); }
    std::vector<Cell> cells;
};

inline Table collect(RowSource &source) {
    Table table{source.description(), {}};
    CellWriter writer;
    for (;;) {
        writer.cells.clear();
        for (const Variable &variable : table.description.variables)
            writer.cells.push_back(variable.kind == ValueKind::numeric ? Cell(missing_value('.')) : Cell(""));
        if (!source.next(writer))
            return table;
        for (size_t i = 0; i < writer.cells.size(); ++i) {
            if (const auto *text = std::get_if<std::string>(&writer.cells[i].value)) {
                EXPECT_LE(text->size(), static_cast<size_t>(table.description.variables[i].length))
                    << "the description's lengths hold for every row";
            }
        }
        table.rows.push_back(writer.cells);
    }
}

// A directory that goes away with the test.
class Scratch {
  public:
    Scratch() {
        std::string name = (std::filesystem::temp_directory_path() / "vordta_test_XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no directory for the test");
        path_ = name;
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    std::string file(const char *name) const { return (path_ / name).string(); }
    std::string write(const char *name, std::string_view bytes) const {
        std::ofstream(file(name), std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return file(name);
    }
    std::string read(const char *name) const {
        std::ifstream stream(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    // Names of all files in it, hidden ones included.
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    std::filesystem::path path_;
};

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

} // namespace vor::test
