// How values become the bytes of a Stata file (byte order, fixed fields, missing values), and what each release looks
// like: field widths, type codes, missing values.
//
// Part of the test builder; it knows nothing of sections. The table of releases is the tests' own, deliberately taken
// from nothing under module/ or host/: a wrong width there must not be repeated here. What cannot be stored throws
// std::invalid_argument.
#pragma once

#include "stata_file_builder.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vor::test {

// How the five numeric types, the strings and the strL are coded in the type list.
struct TypeCodes {
    std::array<std::uint16_t, 5> numeric; // byte, int16, int32, float32, float64
    std::uint16_t string_base;            // code of a string of n bytes is string_base + n
    std::uint16_t strl;                   // 0: the release has none
    std::size_t longest_string_bytes;
    std::size_t code_bytes; // of one code in the type list
};

enum class MissingValues {
    single_small_double, // "." only; a double's is 2^333
    single,              // "." only; a double's is 2^1023
    extended,            // "." and ".a" to ".z"
};

enum class LabelTables {
    short_texts, // 16-bit values and 8-byte texts
    text_area,   // 32-bit values and an area of texts
};

// All widths in bytes; 0 where the release has no such field.
struct ReleaseLayout {
    int release;
    bool tagged;
    const TypeCodes *types;
    MissingValues missing_values;
    LabelTables label_tables;
    std::size_t variable_count_bytes;
    std::size_t observation_count_bytes;
    std::size_t data_label_bytes;        // binary: the fixed field
    std::size_t data_label_length_bytes; // tagged: the length in front of the text
    std::size_t timestamp_bytes;         // binary: the fixed field
    std::size_t name_bytes;              // variable names and value-label names
    std::size_t format_bytes;
    std::size_t variable_label_bytes;
    std::size_t sort_entry_bytes;
    std::size_t expansion_length_bytes; // binary: the length of an expansion field
    std::size_t label_name_padding_bytes;
    std::size_t strl_variable_bytes; // v in a record's reference; o fills the rest of its 8 bytes
    std::size_t gso_observation_bytes;
};

// The layout of a release. A number that is no release of the format (or one that readers refuse) gets the layout of
// the nearest release below it, or of the lowest one, so that a test of the refusal has a whole file to offer.
const ReleaseLayout &release_layout(int release);

[[noreturn]] void refuse(const std::string &why);

// The lowest width bytes of a number.
std::string number_bytes(std::uint64_t value, std::size_t width, ByteOrder order);

// The bits a release stores for a number, or a missing value, in one of the five numeric types.
std::uint64_t stored_bits(const Type &type, double number);
std::uint64_t stored_bits(const Type &type, Missing mark, MissingValues missing_values);

// The file as far as it is written, and the places in it that have a name.
struct ByteWriter {
    ByteOrder order;
    std::string bytes = {};
    Offsets offsets = {};
    std::string last_mark = {};

    void mark(const std::string &name);
    void raw(std::string_view text) { bytes += text; }
    void zeros(std::size_t count) { bytes.append(count, '\0'); }
    // Refuses a value that has more bytes than width.
    void number(std::uint64_t value, std::size_t width);
    // A text in a fixed field, the rest NUL. One that fills the field has no NUL, as in a string variable.
    void field(std::string_view text, std::size_t width);
    // <name>, marked as it stands.
    void tag(const std::string &name);
    // <name>, and a mark on the first byte of its content.
    void open(const std::string &name);
    void close(const std::string &name) { tag("/" + name); }
};

} // namespace vor::test
