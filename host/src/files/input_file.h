// The one way to open a file for reading: a path or standard input, compressed or not. Compressed files are told by
// their first bytes and read as what they hold, and what is known to be another kind of file is refused by its name.
#pragma once

#include "files/unpacker.h"

#include <vorhost/files.h>
#include <vorhost/log.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vor {

// Every failure is a ConversionError with the file's name: machine with the system's words, or conversion when a
// compressed file is damaged or the file is of another kind.
class InputFile {
  public:
    enum class Content { stata, text, schema };

    struct Options {
        Content expected = Content::text;
        const char *text_name = nullptr; // how text is called where it is refused; null: it is not
        bool repeatable = false;         // what can be read only once (a pipe) is copied into a temporary file first
        size_t head_bytes = 64;          // of the content, to be looked at
        FileSystem *files = nullptr;     // null: the machine's
        Unpacking unpacking = Unpacking::bounded;
    };

    // "-" is standard input.
    InputFile(const std::string &path, const Options &options);
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    // The file's name for sentences.
    const std::string &name() const { return name_; }

    // The first bytes of the content, which are still to be read: as many as were asked for, fewer in a shorter file.
    const std::string &head() const { return head_; }

    // Whether the content is the file itself, so that others may open it by its name and go back and forth in it.
    bool is_plain() const { return plain_; }

    // The next bytes; fewer than asked for at the end of a pipe's portion, 0 at the end of the file.
    size_t read(std::span<char> buffer);

    // Back to the first byte; only when repeatable.
    void rewind();

    // About a file name that says something else than the file's bytes: a sentence's end, else empty.
    std::string remark() const { return misnamed(name_, compression_); }
    void tell_remark(const Notes &notes) const;

    // Bytes of a file that is read as it is; 0 for what has no size, such as the content of a compressed file.
    uint64_t size() const { return unpacker_ ? 0 : file_bytes_; }

  private:
    void open(const std::string &path, FileSystem &files);
    void keep_copy(FileSystem &files);
    void begin();
    void look_at_head(size_t bytes);
    void refuse_other_kinds(std::string_view start) const;
    size_t read_packed(uint64_t position, std::span<char> buffer);
    size_t next_content(std::span<char> buffer);
    void check_ratio() const;
    void check(std::error_code error, const char *what) const;

    std::string name_;
    Content expected_;
    const char *text_name_;
    Unpacking unpacking_;
    std::unique_ptr<ByteFile> file_;
    bool stream_ = false; // read once, front to back
    bool plain_ = false;
    uint64_t file_bytes_ = 0;
    std::string start_; // of a stream: the first bytes of the file, which tell the compression
    uint64_t position_ = 0;
    Compression compression_ = Compression::none;
    std::unique_ptr<Unpacker> unpacker_; // null: the file is read as it is
    uint64_t packed_bytes_ = 0;          // of the compressed file, as far as it is known
    uint64_t unpacked_bytes_ = 0;        // read so far
    std::string head_;
    size_t head_read_ = 0; // bytes of the head that need not be read any more
};

// A file for those who read at positions: each read must begin at the next byte.
class InputStream : public ByteFile {
  public:
    explicit InputStream(std::shared_ptr<InputFile> file) : file_(std::move(file)) {}

    // What the file threw in a read, whose error code cannot say it; null as long as there was nothing. Outlives the
    // stream.
    std::shared_ptr<const std::exception_ptr> failure() const { return failure_; }

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override;
    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override;
    uint64_t size(std::error_code &error) override;
    void close(std::error_code &) override {}

  private:
    std::shared_ptr<InputFile> file_;
    uint64_t position_ = 0;
    std::shared_ptr<std::exception_ptr> failure_ = std::make_shared<std::exception_ptr>();
};

} // namespace vor
