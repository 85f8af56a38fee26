// Files that are read from front to back, more than once when they can be.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vor {

// Every failure is a ConversionError (machine) with the file's name and the system's words.
class InputFile {
  public:
    // "-" is standard input. repeatable: what can be read only once (standard input, a pipe) is copied into a
    // temporary file without a name first.
    InputFile(const std::string &path, bool repeatable);
    ~InputFile();
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    // The file's name for sentences.
    const std::string &name() const { return name_; }

    // The next bytes; fewer than asked for at the end of a pipe's portion, 0 at the end of the file.
    size_t read(std::span<char> buffer);

    // Back to the first byte; only when repeatable.
    void rewind();

    // Bytes of a regular file; 0 for what has no size.
    uint64_t size() const;

  private:
    void keep_copy();
    [[noreturn]] void fail(int code, const char *what) const;

    std::string name_;
    int descriptor_ = -1;
};

} // namespace vor
