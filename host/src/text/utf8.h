// UTF-8: what is valid, and single characters to and from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace vor {

// How many bytes from the start are ASCII.
size_t ascii_prefix(std::string_view bytes);

// Whether any byte of a text of at least a word is not ASCII: a word at a time, the last one overlapping.
template <class Word>
bool has_high_bit(std::string_view bytes) {
    constexpr auto high_bits = static_cast<Word>(0x8080808080808080U);
    Word seen;
    std::memcpy(&seen, bytes.data() + bytes.size() - sizeof seen, sizeof seen);
    for (size_t at = 0; at + sizeof seen < bytes.size(); at += sizeof seen) {
        Word word;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        seen |= word;
    }
    return (seen & high_bits) != 0;
}

// Whether all bytes are ASCII. Inline for the short texts of observations.
inline bool is_ascii(std::string_view bytes) {
    if (bytes.size() >= sizeof(uint64_t))
        return !has_high_bit<uint64_t>(bytes);
    if (bytes.size() >= sizeof(uint32_t))
        return !has_high_bit<uint32_t>(bytes);
    return bytes.empty() || !has_high_bit<uint8_t>(bytes);
}

bool is_utf8(std::string_view bytes);

// The longest start of a valid text that has at most so many bytes and does not end inside a character.
std::string_view whole_characters(std::string_view utf8, size_t limit_bytes);

// The characters of a text that is valid UTF-8.
std::u32string wide_text(std::string_view utf8);

// A character, which is a valid one, in UTF-8.
std::string utf8_text(char32_t character);

} // namespace vor
