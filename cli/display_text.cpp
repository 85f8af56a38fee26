#include "display_text.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <fmt/format.h>
#include <unicode/utf8.h>

namespace vor::cli {
namespace {

struct Character {
    uint32_t code;
    size_t bytes; // 0: no UTF-8 begins here
};

// The first character of a text that is not empty.
Character first_character(std::string_view text) {
    constexpr size_t longest_bytes = 4;
    int32_t bytes = 0;
    UChar32 code = 0;
    U8_NEXT(text.data(), bytes, static_cast<int32_t>(std::min(text.size(), longest_bytes)), code);
    if (code < 0)
        return {static_cast<uint8_t>(text[0]), 0};
    return {static_cast<uint32_t>(code), static_cast<size_t>(bytes)};
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
