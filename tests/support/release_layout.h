// What each release of the Stata file format looks like: field widths, type codes, missing values.
//
// The tests' own table, deliberately taken from nothing under module/ or host/: a wrong width there must not be
// repeated here. It knows no order of sections; stata_file_builder.cpp does.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

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

} // namespace vor::test
