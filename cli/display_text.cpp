#include "display_text.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <fmt/format.h>

namespace vor::cli {
namespace {

struct Character {
    uint32_t code;
    size_t bytes; // 0: no UTF-8 begins here
};

// The first character of a text that is not empty.
Character first_character(std::string_view text) {
    constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000}; // by length; less would be an overlong form
    const auto lead = static_cast<uint8_t>(text[0]);
    const size_t bytes = lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
    if (bytes < 2)
        return {lead, bytes};
    if (text.size() < bytes)
        return {lead, 0};
    uint32_t code = lead & (0x7FU >> bytes);
    for (size_t i = 1; i < bytes; ++i) {
        const auto next = static_cast<uint8_t>(text[i]);
        if ((next & 0xC0) != 0x80)
            return {lead, 0};
        code = code << 6 | (next & 0x3FU);
    }
    const bool valid = code >= smallest[bytes] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return {code, valid ? bytes : 0};
}

// Of a character that stands as it is.
size_t columns_of(uint32_t code) {
    const int columns = wcwidth(static_cast<wchar_t>(code));
    return columns < 0 ? 1 : static_cast<size_t>(columns);
}

bool is_control(uint32_t code) {
    const bool reorders = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 || reorders;
}

std::string escaped(uint32_t code) {
    switch (code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return code < 0x100 ? fmt::format("\\x{:02x}", code) : fmt::format("\\u{:04x}", code);
    }
}

} // namespace

std::string display_text(std::string_view text, size_t longest_columns) {
    std::string shown;
    size_t columns = 0;
    size_t room_for_mark = 0; // bytes of `shown` that leave a column for the mark of a cut
    while (!text.empty()) {
        const auto [code, bytes] = first_character(text);
        const bool stands = bytes > 0 && !is_control(code);
        const std::string piece = stands ? std::string(text.substr(0, bytes)) : escaped(code);
        columns += stands ? columns_of(code) : piece.size();
        if (columns > longest_columns)
            return shown.substr(0, room_for_mark) + "…";
        shown += piece;
        if (columns < longest_columns)
            room_for_mark = shown.size();
        text.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return shown;
}

size_t display_columns(std::string_view text) {
    size_t columns = 0;
    while (!text.empty()) {
        const auto [code, bytes] = first_character(text);
        columns += columns_of(code);
        text.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return columns;
}

} // namespace vor::cli
