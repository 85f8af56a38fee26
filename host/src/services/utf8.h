// UTF-8: what is valid, and single characters to and from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace vor::services {

// How many bytes from the start are ASCII.
size_t ascii_prefix(std::string_view bytes);

// Whether all bytes are ASCII. Inline for the short texts of observations: a word at a time, the last one overlapping.
inline bool is_ascii(std::string_view bytes) {
    constexpr uint64_t high_bits = 0x8080808080808080U;
    uint64_t seen = 0;
    if (bytes.size() < sizeof seen) {
        for (const char byte : bytes)
            seen |= static_cast<unsigned char>(byte);
        return (seen & high_bits) == 0;
    }
    uint64_t word;
    for (size_t at = 0; at + sizeof word <= bytes.size(); at += sizeof word) {
        std::memcpy(&word, bytes.data() + at, sizeof word);
        seen |= word;
    }
    std::memcpy(&word, bytes.data() + bytes.size() - sizeof word, sizeof word);
    return ((seen | word) & high_bits) == 0;
}

bool is_utf8(std::string_view bytes);

// The characters of a text that is valid UTF-8.
std::u32string wide_text(std::string_view utf8);

// A character, which is a valid one, in UTF-8.
std::string utf8_text(char32_t character);

} // namespace vor::services
