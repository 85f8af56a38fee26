// Files that are read from front to back, more than once when they can be. Compressed files are told by their first
// bytes and read as what they hold.
#pragma once

#include "files/descriptor.h"
#include "files/unpacker.h"

#include <vorhost/rows.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace vor {

// Every failure is a ConversionError with the file's name: machine with the system's words, or conversion when a
// compressed file is damaged.
class InputFile {
  public:
    // "-" is standard input. repeatable: what can be read only once (standard input, a pipe) is copied into a
    // temporary file without a name first, as is what comes compressed that way.
    InputFile(const std::string &path, bool repeatable);

    // The file's name for sentences.
    const std::string &name() const { return name_; }

    // The next bytes; fewer than asked for at the end of a pipe's portion, 0 at the end of the file.
    size_t read(std::span<char> buffer);

    // Back to the first byte; only when repeatable.
    void rewind();

    // Notes a file name that says something else than the file's bytes.
    void tell_remark(const Notes &notes) const;

    // Bytes of a regular file; 0 for what has no size, such as the content of a compressed file.
    uint64_t size() const;

  private:
    void look_at_start();
    void keep_copy();
    void unpack_from_start();
    size_t read_descriptor(std::span<char> buffer) const;
    size_t read_at(uint64_t position, std::span<char> buffer) const;
    uint64_t file_bytes() const;
    void check(std::error_code error, const char *what) const;

    std::string name_;
    Descriptor descriptor_;
    bool seekable_ = false;
    std::string start_; // of a stream: bytes read ahead and not delivered yet
    Compression compression_ = Compression::none;
    std::unique_ptr<Unpacker> unpacker_; // null: the file is read as it is
};

} // namespace vor
