// Open files of the system, read and written through its calls. A call that a signal interrupted is made again; an
// error is the system's.
#pragma once

#include <vorhost/files.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <system_error>
#include <utility>

namespace vor {

std::error_code last_error(); // of this thread's last call to the system

// Closes what it holds; -1 holds nothing.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        reset(std::exchange(other.number_, -1));
        return *this;
    }

    int number() const { return number_; }
    bool open() const { return number_ >= 0; }
    void reset(int number = -1); // closes what was held
    int release() { return std::exchange(number_, -1); }
    void close(std::error_code &error);

  private:
    int number_;
};

// Read what there is, at most as much as the buffer takes: 0 at the end, and with an error.
size_t read_some(int descriptor, std::span<char> buffer, std::error_code &error);
size_t read_some_at(int descriptor, uint64_t position, std::span<char> buffer, std::error_code &error);

// Write everything, unless there is an error.
void write_all(int descriptor, std::span<const char> bytes, std::error_code &error);
void write_all_at(int descriptor, uint64_t position, std::span<const char> bytes, std::error_code &error);

// Standard input or output (their descriptor) as a file that is read or written front to back.
std::unique_ptr<ByteFile> standard_file(int descriptor, std::error_code &error);

} // namespace vor
