// Which compressed files there are, and how they are told by their names and by their first bytes.
#pragma once

#include <string>
#include <string_view>

namespace vor {

enum class Compression { none, gzip, xz, zstd, zip };

// By the suffix of a path: .gz, .xz, .zst, .zip; letter case does not count.
Compression compression_of_name(std::string_view path);

// By the first bytes of a file, of which compression_mark_bytes are enough.
inline constexpr size_t compression_mark_bytes = 6;
Compression compression_of_bytes(std::string_view start);

// As people say it: "gzip".
std::string_view compression_name(Compression compression);

// A sentence's end about a file whose name says another compression than its bytes, which count; empty when the name
// says the same or nothing.
std::string misnamed(std::string_view path, Compression found);

} // namespace vor
