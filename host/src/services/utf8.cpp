#include "services/utf8.h"

#include <cstdint>
#include <cstring>

namespace vor::services {

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
    for (size_t at = ascii_prefix(bytes); at < bytes.size(); at += ascii_prefix(bytes.substr(at))) {
        const auto byte = [&](size_t offset) {
            return at + offset < bytes.size() ? static_cast<unsigned char>(bytes[at + offset]) : 0U;
        };
        const unsigned lead = byte(0);
        const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        // The second byte's range excludes forms that are longer than need be, surrogates, and what is above U+10FFFF.
        const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
        const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
        if (lead < 0xC2 || lead > 0xF4 || byte(1) < lowest || byte(1) > highest)
            return false;
        for (size_t offset = 2; offset < length; ++offset)
            if ((byte(offset) & 0xC0) != 0x80)
                return false;
        at += length;
    }
    return true;
}

std::u32string wide_text(std::string_view utf8) {
    std::u32string wide;
    for (size_t at = 0; at < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[at]);
        const size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        char32_t character = length == 1 ? lead : lead & (0xFFU >> (length + 1));
        for (size_t offset = 1; offset < length; ++offset)
            character = (character << 6) | (static_cast<unsigned char>(utf8[at + offset]) & 0x3FU);
        wide += character;
        at += length;
    }
    return wide;
}

std::string utf8_text(char32_t character) {
    if (character < 0x80)
        return {static_cast<char>(character)};
    const int rest = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    const unsigned marks[] = {0, 0xC0, 0xE0, 0xF0};
    std::string text(1, static_cast<char>(marks[rest] | (character >> (6 * rest))));
    for (int left = rest - 1; left >= 0; --left)
        text += static_cast<char>(0x80U | ((character >> (6 * left)) & 0x3FU));
    return text;
}

} // namespace vor::services
