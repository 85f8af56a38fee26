// Which compressed files there are, how they are told by their names and by their first bytes, and how they are
// written.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct archive;

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

    // compression: not none. target: the compressed file, for sentences. member: the name of the one file of a zip
    // archive.
    Packer(Compression compression, std::string target, const std::string &member, Output output);

    Packer(const Packer &) = delete;
    Packer &operator=(const Packer &) = delete;

    void write(std::span<const char> bytes);
    void finish();

  private:
    struct Abandon { // nothing more is put out when finish was not reached
        Packer *packer;
        void operator()(archive *writer) const;
    };

    void pass_on(std::span<const char> bytes);
    void add_member(const std::string &name);
    void check(int64_t code);

    std::string target_;
    Output output_;
    std::exception_ptr failure_; // what output_ threw
    bool abandoned_ = false;
    std::unique_ptr<archive, Abandon> archive_;
};

} // namespace vor
