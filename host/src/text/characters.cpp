#include "text/characters.h"

#include "text/encodings.h"
#include "text/utf8.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <unicode/uchar.h>

namespace vor {
namespace {

using CaseMapping = UChar32 (*)(UChar32);

// A character of the session in another case, when that takes as many bytes; otherwise the character itself.
std::string other_case(const Encodings &encodings, std::string_view bytes, CaseMapping mapping) {
    std::string scratch;
    const Host::Decoded decoded = encodings.decode(bytes, scratch);
    const std::u32string wide = decoded.valid ? wide_text(decoded.text) : std::u32string();
    if (wide.size() != 1)
        return std::string(bytes);
    int replaced = 0;
    std::string mapped =
        encodings.encode(utf8_text(static_cast<char32_t>(mapping(static_cast<UChar32>(wide[0])))), &replaced);
    return replaced == 0 && mapped.size() == bytes.size() ? mapped : std::string(bytes);
}

char ascii_case(char character, CaseMapping mapping) {
    return static_cast<unsigned char>(character) < 0x80 ? static_cast<char>(mapping(character)) : character;
}

// The bytes of the character at the start of a text: the fewest that are valid in the session, 1 when none are.
size_t character_bytes(const Encodings &encodings, std::string_view text) {
    std::string scratch;
    for (size_t bytes = 1; bytes <= std::min<size_t>(text.size(), 4); ++bytes)
        if (encodings.decode(text.substr(0, bytes), scratch).valid)
            return bytes;
    return 1;
}

void change_case(const Encodings &encodings, std::span<char> text, CaseMapping mapping) {
    const std::string_view whole(text.data(), text.size());
    for (size_t at = 0; at < whole.size();) {
        if (static_cast<unsigned char>(text[at]) < 0x80) {
            text[at] = ascii_case(text[at], mapping);
            ++at;
            continue;
        }
        const size_t bytes = character_bytes(encodings, whole.substr(at));
        const std::string mapped = other_case(encodings, whole.substr(at, bytes), mapping);
        std::memcpy(text.data() + at, mapped.data(), bytes);
        at += bytes;
    }
}

} // namespace

void to_upper_case(const Encodings &encodings, std::span<char> text) {
    change_case(encodings, text, u_toupper);
}

void to_lower_case(const Encodings &encodings, std::span<char> text) {
    change_case(encodings, text, u_tolower);
}

CharacterTables::CharacterTables(const Encodings &encodings) {
    const bool multibyte = encodings.session_is_multibyte();
    const auto mapped = [&](int byte, CaseMapping mapping) {
        const auto character = static_cast<char>(byte);
        if (byte < 0x80 || multibyte)
            return static_cast<uint8_t>(ascii_case(character, mapping));
        return static_cast<uint8_t>(other_case(encodings, {&character, 1}, mapping)[0]);
    };
    for (int byte = 0; byte < 256; ++byte) {
        const auto at = static_cast<size_t>(byte);
        same[at] = static_cast<uint8_t>(byte);
        upper[at] = mapped(byte, u_toupper);
        lower[at] = mapped(byte, u_tolower);
    }
}

} // namespace vor
