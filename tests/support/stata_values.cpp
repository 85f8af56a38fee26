// Numbers, texts and missing values as bytes; see stata_values.h.
#include "stata_values.h"

#include <bit>
#include <cmath>
#include <stdexcept>

namespace vor::test {
namespace {

std::uint64_t integer_bits(const Type &type, double number) {
    const double limit = std::ldexp(1.0, static_cast<int>(8 * type.bytes - 1));
    if (number != std::trunc(number) || number < -limit || number >= limit) {
        refuse(std::to_string(number) + " is no integer of " + std::to_string(type.bytes) + " bytes");
    }
    const auto all = static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
    return all & (~std::uint64_t{0} >> (64 - 8 * type.bytes));
}

} // namespace

void refuse(const std::string &why) {
    throw std::invalid_argument(why);
}

std::string number_bytes(std::uint64_t value, std::size_t width, ByteOrder order) {
    std::string bytes(width, '\0');
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t place = order == ByteOrder::little ? i : width - 1 - i;
        bytes[place] = static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return bytes;
}

std::uint64_t stored_bits(const Type &type, double number) {
    switch (type.kind) {
    case Type::Kind::float64:
        return std::bit_cast<std::uint64_t>(number);
    case Type::Kind::float32:
        return std::bit_cast<std::uint32_t>(static_cast<float>(number));
    default:
        return integer_bits(type, number);
    }
}

std::uint64_t stored_bits(const Type &type, Missing mark, MissingValues missing_values) {
    const bool extended = missing_values == MissingValues::extended;
    const bool letter = mark.letter >= 'a' && mark.letter <= 'z';
    if (mark.letter != '.' && !(letter && extended)) {
        refuse(std::string("the release has no missing value ") + mark.letter);
    }
    const std::uint64_t rank = letter ? static_cast<std::uint64_t>(mark.letter - 'a') + 1 : 0;
    switch (type.kind) {
    case Type::Kind::float64:
        return missing_values == MissingValues::single_small_double ? 0x54C0000000000000
                                                                    : 0x7FE0000000000000 + (rank << 40);
    case Type::Kind::float32:
        return 0x7F000000 + (rank << 11);
    default:
        // The top of the signed range: 26 letters and "." below them, or "." alone.
        return (std::uint64_t{1} << (8 * type.bytes - 1)) - 1 - (extended ? 26 - rank : 0);
    }
}

void ByteWriter::mark(const std::string &name) {
    last_mark = name;
    offsets[name] = bytes.size();
}

void ByteWriter::number(std::uint64_t value, std::size_t width) {
    if (width < 8 && value >> (8 * width) != 0) {
        refuse(std::to_string(value) + " does not fit in " + std::to_string(width) + " bytes");
    }
    raw(number_bytes(value, width, order));
}

void ByteWriter::field(std::string_view text, std::size_t width) {
    if (text.size() > width) {
        refuse("a text of " + std::to_string(text.size()) + " bytes in a field of " + std::to_string(width));
    }
    raw(text);
    zeros(width - text.size());
}

void ByteWriter::tag(const std::string &name) {
    mark("<" + name + ">");
    raw("<" + name + ">");
}

void ByteWriter::open(const std::string &name) {
    tag(name);
    mark(name);
}

} // namespace vor::test
