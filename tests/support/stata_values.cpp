// Numbers, texts and missing values as bytes; the table of release widths; see stata_values.h.
#include "stata_values.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace vor::test {
namespace {

constexpr TypeCodes letter_codes{
    .numeric = {'b', 'i', 'l', 'f', 'd'}, .string_base = 127, .strl = 0, .longest_string_bytes = 128, .code_bytes = 1};
constexpr TypeCodes byte_codes{
    .numeric = {251, 252, 253, 254, 255}, .string_base = 0, .strl = 0, .longest_string_bytes = 250, .code_bytes = 1};
constexpr TypeCodes word_codes{.numeric = {65530, 65529, 65528, 65527, 65526},
                               .string_base = 0,
                               .strl = 32768,
                               .longest_string_bytes = 2045,
                               .code_bytes = 2};

ReleaseLayout layout_of(int release) {
    const bool tagged = release >= 117;
    const std::size_t count_bytes = release == 119 ? 4 : 2;
    const std::size_t label_bytes = release < 108 ? 32 : release < 118 ? 81 : 321;
    return {.release = release,
            .tagged = tagged,
            .types = tagged          ? &word_codes
                     : release < 111 ? &letter_codes
                                     : &byte_codes,
            .missing_values = release < 108   ? MissingValues::single_small_double
                              : release < 113 ? MissingValues::single
                                              : MissingValues::extended,
            .label_tables = release < 108 ? LabelTables::short_texts : LabelTables::text_area,
            .variable_count_bytes = count_bytes,
            .observation_count_bytes = release < 118 ? 4U : 8U,
            .data_label_bytes = tagged ? 0 : label_bytes,
            .data_label_length_bytes = !tagged          ? 0U
                                       : release == 117 ? 1U
                                                        : 2U,
            .timestamp_bytes = tagged || release < 105 ? 0U : 18U,
            .name_bytes = release < 110   ? 9U
                          : release < 118 ? 33U
                                          : 129U,
            .format_bytes = release < 105   ? 7U
                            : release < 114 ? 12U
                            : release < 118 ? 49U
                                            : 57U,
            .variable_label_bytes = label_bytes,
            .sort_entry_bytes = count_bytes,
            .expansion_length_bytes = release < 105   ? 0U
                                      : release < 110 ? 2U
                                                      : 4U,
            .label_name_padding_bytes = release < 108 ? 1U : 3U,
            .strl_variable_bytes = !tagged          ? 0U
                                   : release == 117 ? 4U
                                   : release == 118 ? 2U
                                                    : 3U,
            .gso_observation_bytes = !tagged          ? 0U
                                     : release == 117 ? 4U
                                                      : 8U};
}

} // namespace

const ReleaseLayout &release_layout(int release) {
    static const std::vector<ReleaseLayout> layouts = [] {
        std::vector<ReleaseLayout> all;
        for (const int known : {103, 104, 105, 108, 110, 111, 112, 113, 114, 115, 117, 118, 119})
            all.push_back(layout_of(known));
        return all;
    }();
    const auto above = std::find_if(layouts.begin() + 1, layouts.end(),
                                    [release](const ReleaseLayout &layout) { return layout.release > release; });
    return *(above - 1);
}

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
