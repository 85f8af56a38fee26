// Which compressed files there are, how they are told by their names and by their first bytes, and how they are
// written.
#pragma once

#include <vorhost/files.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vor {

enum class Compression { none, gzip, bzip2, xz, zstd, zip };

// By the suffix of a path: .gz, .bz2, .xz, .zst, .zip; letter case does not count.
Compression compression_of_name(std::string_view path);

// By the first bytes of a file, of which compression_mark_bytes are enough.
inline constexpr size_t compression_mark_bytes = 10;
Compression compression_of_bytes(std::string_view start);

// As people say it: "gzip".
std::string_view compression_name(Compression compression);

// A sentence's end about a file whose name says another compression than its bytes, which count; empty when the name
// says the same or nothing.
std::string misnamed(std::string_view path, Compression found);

// Bytes compressed on their way into a file.
class Packer {
  public:
    // Takes the next bytes of the compressed file. May throw, which passes through write and finish.
    using Output = std::function<void(std::span<const char> bytes)>;

    virtual ~Packer() = default; // nothing more is put out when finish was not reached
    virtual void write(std::span<const char> bytes) = 0;
    virtual void finish() = 0;
};

// What becomes a compressed file.
struct PackerTarget {
    std::string name;   // the compressed file, for sentences
    std::string member; // the name of the one file of a zip archive
    Packer::Output output;
};

// compression: not none. The bytes are the same whatever the number of threads. Gzip and xz files consist of pieces
// that are compressed for themselves, which every reader of these formats takes as one; zstd has threads of its own;
// bzip2 and zip files are written on one.
std::unique_ptr<Packer> packer(Compression compression, PackerTarget target, const Packing &packing);

} // namespace vor
