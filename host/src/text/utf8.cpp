#include "text/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unicode/utf8.h>

namespace vor {
namespace {

constexpr size_t longest_character_bytes = 4;

// Takes the first character from a text that is not empty; below 0, and one byte taken at least, when no valid one
// stands there.
UChar32 take_character(std::string_view &text) {
    int32_t bytes = 0;
    UChar32 character = 0;
    U8_NEXT(text.data(), bytes, static_cast<int32_t>(std::min(text.size(), longest_character_bytes)), character);
    text.remove_prefix(static_cast<size_t>(bytes));
    return character;
}

} // namespace

size_t ascii_prefix(std::string_view bytes) {
    size_t at = 0;
    for (; at + sizeof(uint64_t) <= bytes.size(); at += sizeof(uint64_t)) {
        uint64_t word;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        if ((word & 0x8080808080808080U) != 0)
            break;
    }
    while (at < bytes.size() && static_cast<unsigned char>(bytes[at]) < 0x80)
        ++at;
    return at;
}

bool is_utf8(std::string_view bytes) {
    for (bytes.remove_prefix(ascii_prefix(bytes)); !bytes.empty(); bytes.remove_prefix(ascii_prefix(bytes)))
        if (take_character(bytes) < 0)
            return false;
    return true;
}

std::string_view whole_characters(std::string_view utf8, size_t limit_bytes) {
    if (utf8.size() <= limit_bytes)
        return utf8;
    while (limit_bytes > 0 && U8_IS_TRAIL(static_cast<uint8_t>(utf8[limit_bytes])))
        --limit_bytes;
    return utf8.substr(0, limit_bytes);
}

std::u32string wide_text(std::string_view utf8) {
    std::u32string wide;
    while (!utf8.empty())
        wide += static_cast<char32_t>(take_character(utf8));
    return wide;
}

std::string utf8_text(char32_t character) {
    char text[longest_character_bytes];
    int32_t bytes = 0;
    U8_APPEND_UNSAFE(text, bytes, character);
    return {text, static_cast<size_t>(bytes)};
}

} // namespace vor
