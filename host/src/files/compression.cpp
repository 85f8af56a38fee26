#include "files/compression.h"

#include <vorhost/ascii.h>
#include <vorhost/files.h>

#include <array>
#include <fmt/format.h>

namespace vor {
namespace {

using namespace std::string_view_literals;

struct Kind {
    Compression compression;
    std::string_view name;
    std::string_view suffix;
    std::string_view mark; // the first bytes
};

constexpr std::array kinds = {
    Kind{.compression = Compression::gzip, .name = "gzip", .suffix = ".gz", .mark = "\x1F\x8B"sv},
    Kind{.compression = Compression::xz, .name = "xz", .suffix = ".xz", .mark = "\xFD\x37zXZ\0"sv},
    Kind{.compression = Compression::zstd, .name = "zstd", .suffix = ".zst", .mark = "\x28\xB5\x2F\xFD"sv},
    Kind{.compression = Compression::zip, .name = "zip", .suffix = ".zip", .mark = "PK\x03\x04"sv},
    Kind{.compression = Compression::zip, .name = "zip", .suffix = ".zip", .mark = "PK\x05\x06"sv}, // without members
};

// A name that is nothing but a suffix has none.
bool has_suffix(std::string_view path, std::string_view suffix) {
    const std::string_view name = path.substr(path.find_last_of('/') + 1);
    return name.size() > suffix.size() && same_but_for_case(name.substr(name.size() - suffix.size()), suffix);
}

const Kind *kind_of_name(std::string_view path) {
    for (const Kind &kind : kinds)
        if (has_suffix(path, kind.suffix))
            return &kind;
    return nullptr;
}

} // namespace

Compression compression_of_name(std::string_view path) {
    const Kind *kind = kind_of_name(path);
    return kind ? kind->compression : Compression::none;
}

Compression compression_of_bytes(std::string_view start) {
    for (const Kind &kind : kinds)
        if (start.starts_with(kind.mark))
            return kind.compression;
    return Compression::none;
}

std::string_view compression_name(Compression compression) {
    for (const Kind &kind : kinds)
        if (kind.compression == compression)
            return kind.name;
    return "none";
}

std::string misnamed(std::string_view path, Compression found) {
    const Compression named = compression_of_name(path);
    if (named == Compression::none || named == found)
        return {};
    if (found == Compression::none)
        return fmt::format("the name says {}, but the file is not compressed; it is read as it is.",
                           compression_name(named));
    return fmt::format("the name says {}, but the file is {}; it is read as that.", compression_name(named),
                       compression_name(found));
}

std::string uncompressed_name(const std::string &path) {
    const Kind *kind = kind_of_name(path);
    return kind ? path.substr(0, path.size() - kind->suffix.size()) : path;
}

} // namespace vor
