// Standard input and output as files that are read or written from front to back.
#pragma once

#include <vorhost/files.h>

#include <memory>
#include <string>

namespace vor {

// Standard input with its first bytes read ahead, so that they can be looked at before the module reads them.
class StandardInput : public ByteFile {
  public:
    // Reads up to `head_bytes` bytes ahead; ConversionError when standard input cannot be read.
    explicit StandardInput(size_t head_bytes);

    const std::string &head() const { return head_; }

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override;
    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override;
    uint64_t size(std::error_code &error) override;
    void close(std::error_code &error) override;

  private:
    std::string head_;
    uint64_t position_; // of the stream: the first byte not read yet
};

class StandardOutput : public ByteFile {
  public:
    // open: while it is false every write is refused, so that an abandoned export writes nothing.
    explicit StandardOutput(std::shared_ptr<const bool> open) : open_(std::move(open)) {}

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override;
    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override;
    uint64_t size(std::error_code &error) override;
    void close(std::error_code &error) override;

  private:
    std::shared_ptr<const bool> open_;
    uint64_t written_ = 0;
};

} // namespace vor
