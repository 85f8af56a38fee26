// Writes a Stata file of any release, in either byte order, from a few lines of description:
//
//     StataFile file{.release = 115, .order = ByteOrder::big};
//     file.variables = {{.name = "x", .type = Type::byte, .value_label = "yn"}, {.name = "s", .type = str(10)}};
//     file.rows = {{1, "abc"}, {missing('a'), "de"}};
//     file.value_labels = {{.name = "yn", .entries = {{0, "no"}, {1, "yes"}}}};
//     std::string bytes = build(file);
//
// It uses nothing of the code under test. It describes well-formed files; what a hostile file needs is put in
// afterwards with patch(), at the offsets build() reports, or with extra strL records. Where a description cannot be
// stored in the release asked for (a value out of range, a text too long for its field, .a before release 113, a strL
// before 117) build() throws instead of writing something else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace vor::test {

enum class ByteOrder { little, big };

// The stored type of a variable.
struct Type {
    enum class Kind { byte, int16, int32, float32, float64, string, strl };
    Kind kind = Kind::float64;
    std::size_t bytes = 8; // in the record

    static const Type byte, int16, int32, float32, float64, strl;
};
inline constexpr Type Type::byte{Kind::byte, 1};
inline constexpr Type Type::int16{Kind::int16, 2};
inline constexpr Type Type::int32{Kind::int32, 4};
inline constexpr Type Type::float32{Kind::float32, 4};
inline constexpr Type Type::float64{Kind::float64, 8};
inline constexpr Type Type::strl{Kind::strl, 8};

// A string of that many bytes.
constexpr Type str(std::size_t bytes) {
    return {Type::Kind::string, bytes};
}

// A numeric missing value: '.' or 'a' to 'z'.
struct Missing {
    char letter = '.';
    friend bool operator==(Missing, Missing) = default;
};
// A text for a strL variable whose record is of the binary kind (no terminating NUL).
struct BinaryText {
    std::string bytes;
};
// A strL variable's reference to a text stored by another cell, by extra_strls, or nowhere.
struct StrlReference {
    std::uint64_t variable;
    std::uint64_t observation;
};

inline Missing missing(char letter = '.') {
    return {letter};
}
inline BinaryText binary(std::string bytes) {
    return {std::move(bytes)};
}
inline StrlReference reference(std::uint64_t variable, std::uint64_t observation) {
    return {variable, observation};
}

// One value of one observation. A text in a strL variable is stored as the strL (variable, observation) of its own
// place, both counted from 1; the empty text is the reference (0, 0) and stores nothing.
struct Cell {
    std::variant<double, std::string, Missing, BinaryText, StrlReference> value;

    template <typename Number>
    requires std::is_arithmetic_v<Number> Cell(Number number) : value(static_cast<double>(number)) {}
    Cell(const char *text) : value(std::string(text)) {}
    Cell(std::string text) : value(std::move(text)) {}
    Cell(Missing mark) : value(mark) {}
    Cell(BinaryText text) : value(std::move(text)) {}
    Cell(StrlReference target) : value(target) {}
};
using Row = std::vector<Cell>;

struct Variable {
    std::string name;
    Type type = Type::float64;
    std::string format = "%9.0g";
    std::string label = {};
    std::string value_label = {}; // name of its table; empty for none
};

struct LabelEntry {
    Cell value; // a number or a missing value
    std::string text;
};
struct LabelTable {
    std::string name;
    std::vector<LabelEntry> entries;
};

// A note or other text attached to a variable, or to the data set under the name "_dta" (release 105 and later).
struct Characteristic {
    std::string variable;
    std::string name;
    std::string text;
};

// A strL record of its own, after those of the cells: a target of references, a duplicate key, a wild key.
struct StrlRecord {
    std::uint32_t variable;
    std::uint64_t observation;
    std::uint8_t type; // 129 binary, 130 text
    std::string bytes; // exactly what is stored: a text of type 130 brings its NUL
};

struct StataFile {
    int release = 118;
    ByteOrder order = ByteOrder::little;
    std::string data_label = {};
    std::string timestamp = {};
    std::vector<Variable> variables = {};
    std::vector<Row> rows = {};
    std::vector<LabelTable> value_labels = {};
    std::vector<Characteristic> characteristics = {};
    std::vector<StrlRecord> extra_strls = {};
};

// Where things lie in the file, by name. In both layouts:
//   release, byte_order, K, N, data_label, timestamp (105 and later), variable_types, varnames, sortlist, formats,
//   value_label_names, variable_labels, characteristics (in binary files the expansion chain), data (the first
//   record), value_labels (the first table), end (the number of bytes);
//   value_labels[i] (the table's first byte) and value_labels[i].length, .name, .n, .text_bytes, .offsets, .values,
//   .texts, as far as its layout has them; characteristics[i] (a binary field's type byte, a <ch> element's length).
// Binary files only: file_type. Tagged files only: the tags as they stand ("<map>", "</data>"; not those of <lbl> and
// <ch>), map (its 14 positions, 8 bytes each), data_label.length, strls (the first record), gso[i] (the record) and
// gso[i].variable, .observation, .type, .length, .text.
using Offsets = std::map<std::string, std::size_t>;

// The lowest width bytes of a number.
std::string number_bytes(std::uint64_t value, std::size_t width, ByteOrder order);

// The bytes of the file described. offsets, when not null, is replaced by the places in the file.
std::string build(const StataFile &file, Offsets *offsets = nullptr);

// Overwrites bytes at an offset, or the number of width bytes (1 to 8) there. Throws std::out_of_range when they do
// not lie in the file.
void patch(std::string &bytes, std::size_t offset, std::string_view replacement);
void patch_number(std::string &bytes, std::size_t offset, std::uint64_t value, std::size_t width, ByteOrder order);

} // namespace vor::test
