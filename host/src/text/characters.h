// Letter case and byte translations in the session's encoding.
#pragma once

#include <array>
#include <cstdint>

namespace vor::services {

class Encodings;
class ServiceTable;

// Byte tables. In an encoding with multi-byte characters only ASCII letters have another case in them.
struct CharacterTables {
    explicit CharacterTables(const Encodings &encodings);

    std::array<uint8_t, 256> same{}; // every byte itself: text needs no other form on its way out and in
    std::array<uint8_t, 256> upper{};
    std::array<uint8_t, 256> lower{};
};

void offer_character_services(ServiceTable &table);

} // namespace vor::services
