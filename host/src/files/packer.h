// Bytes compressed on their way into a file.
#pragma once

#include "files/compression.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <span>
#include <string>

struct archive;

namespace vor {

class Packer {
  public:
    // Takes the next bytes of the compressed file. May throw, which passes through write and finish.
    using Output = std::function<void(std::span<const char> bytes)>;

    // compression: not none. target: the compressed file, for sentences. member: the name of the one file of a zip
    // archive. size_bytes: its length, -1 when it is not known.
    Packer(Compression compression, std::string target, const std::string &member, int64_t size_bytes, Output output);

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
    void add_member(const std::string &name, int64_t size_bytes);
    void check(int64_t code);

    std::string target_;
    Output output_;
    std::exception_ptr failure_; // what output_ threw
    bool abandoned_ = false;
    std::unique_ptr<archive, Abandon> archive_;
};

} // namespace vor
