#include "tables/long_text.h"

#include <cstddef>
#include <cstdint>

namespace vor {
namespace {

constexpr std::string_view binary_mark = "base64:";
constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t group_bytes = 3;
constexpr size_t group_digits = 4;

// Decodes the bytes of a group of four digits, of which the last one or two may be '='. False for other characters.
bool decode_group(std::string_view group, bool last, std::string &bytes) {
    const size_t used = !last || group[3] != '=' ? 4 : group[2] != '=' ? 3 : 2;
    uint32_t bits = 0;
    for (size_t i = 0; i < group_digits; ++i) {
        const size_t digit = i < used ? digits.find(group[i]) : 0;
        if (digit == std::string_view::npos)
            return false;
        bits = bits << 6 | static_cast<uint32_t>(digit);
    }
    for (size_t i = 0; i + 1 < used; ++i)
        bytes += static_cast<char>(bits >> (16 - 8 * i) & 0xFF);
    return true;
}

bool decode(std::string_view code, std::string &bytes) {
    bytes.clear();
    if (code.size() % group_digits != 0)
        return false;
    for (; !code.empty(); code.remove_prefix(group_digits))
        if (!decode_group(code.substr(0, group_digits), code.size() == group_digits, bytes))
            return false;
    return true;
}

} // namespace

std::string binary_as_text(std::string_view bytes) {
    std::string text(binary_mark);
    text.reserve(text.size() + (bytes.size() + 2) / group_bytes * group_digits);
    while (!bytes.empty()) {
        const std::string_view group = bytes.substr(0, group_bytes);
        uint32_t bits = 0;
        for (size_t i = 0; i < group_bytes; ++i)
            bits = bits << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
        for (size_t i = 0; i < group_digits; ++i)
            text += i <= group.size() ? digits[bits >> (18 - 6 * i) & 63] : '=';
        bytes.remove_prefix(group.size());
    }
    return text;
}

bool needs_text_mark(std::string_view text) {
    return text.starts_with(binary_mark) || text.starts_with(text_mark);
}

LongText read_long_text(std::string_view field, std::string &scratch) {
    if (field.starts_with(text_mark))
        return {field.substr(text_mark.size())};
    if (field.starts_with(binary_mark) && decode(field.substr(binary_mark.size()), scratch))
        return {scratch, true};
    return {field};
}

} // namespace vor
