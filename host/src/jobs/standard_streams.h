// Streams as files that are read or written from front to back.
#pragma once

#include <vorhost/files.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace vor {

// A stream with its first bytes read ahead, so that they can be looked at before the module reads them.
class InputStream : public ByteFile {
  public:
    // The next bytes of the stream, 0 at its end. May throw.
    using Source = std::function<size_t(std::span<char> buffer)>;

    // Reads up to `head_bytes` bytes ahead. Throws what the source throws.
    InputStream(Source source, size_t head_bytes);

    const std::string &head() const { return head_; }

    // What the source threw in a read, whose error code cannot say it; null as long as there was nothing. Outlives the
    // stream.
    std::shared_ptr<const std::exception_ptr> failure() const { return failure_; }

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override;
    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override;
    uint64_t size(std::error_code &error) override;
    void close(std::error_code &error) override;

  private:
    size_t fill(std::span<char> buffer);

    Source source_;
    std::string head_;
    uint64_t position_ = 0; // of the stream: the first byte not read yet
    std::shared_ptr<std::exception_ptr> failure_ = std::make_shared<std::exception_ptr>();
};

// The source of standard input. ConversionError (machine) when it cannot be read.
size_t read_standard_input(std::span<char> buffer);

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
