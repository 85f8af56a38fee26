// Letter case and byte translations in the session's encoding.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace vor {

class Encodings;

// Byte tables. In an encoding with multi-byte characters only ASCII letters have another case in them.
struct CharacterTables {
    explicit CharacterTables(const Encodings &encodings);

    std::array<uint8_t, 256> same{}; // every byte itself: text needs no other form on its way out and in
    std::array<uint8_t, 256> upper{};
    std::array<uint8_t, 256> lower{};
};

// Letters in the other case, where that takes as many bytes.
void to_upper_case(const Encodings &encodings, std::span<char> text);
void to_lower_case(const Encodings &encodings, std::span<char> text);

} // namespace vor
