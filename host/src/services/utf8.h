// UTF-8: what is valid, and single characters to and from it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vor::services {

// How many bytes from the start are ASCII.
size_t ascii_prefix(std::string_view bytes);

bool is_utf8(std::string_view bytes);

// The characters of a text that is valid UTF-8.
std::u32string wide_text(std::string_view utf8);

// A character, which is a valid one, in UTF-8.
std::string utf8_text(char32_t character);

} // namespace vor::services
