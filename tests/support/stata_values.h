// How a value becomes the bytes of a Stata file: byte order, fixed fields, missing values.
//
// Part of the test builder; it knows nothing of sections. What cannot be stored throws std::invalid_argument.
#pragma once

#include "release_layout.h"
#include "stata_file_builder.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vor::test {

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
