// The content of compressed files, front to back.
#pragma once

#include "files/compression.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace vor {

// A file that is compressed.
struct PackedFile {
    std::string name; // for sentences

    // Reads bytes at a position; 0 at the end. May throw. Only zip archives are not read front to back.
    std::function<size_t(uint64_t position, std::span<char> buffer)> read;

    uint64_t size_bytes = 0; // of a zip archive, whose list of files stands at its end
};

class Unpacker {
  public:
    virtual ~Unpacker() = default;

    // The next bytes of the content, 0 at its end. ConversionError (conversion) when the file is damaged or cut short:
    // what was read before is not to be relied on. What PackedFile::read throws passes through.
    virtual size_t read(std::span<char> buffer) = 0;
};

// Begins to unpack. A zip archive must have one member, and a size; ConversionError (conversion) says what it has.
// compression: not none.
std::unique_ptr<Unpacker> unpack(Compression compression, PackedFile file);

} // namespace vor
