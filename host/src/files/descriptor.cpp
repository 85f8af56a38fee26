#include "files/descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace vor {
namespace {

// Makes the call until no signal interrupts it; the bytes it moved, 0 with an error.
template <class Call>
size_t moved_bytes(Call call, std::error_code &error) {
    for (;;) {
        const ssize_t bytes = call();
        if (bytes >= 0)
            return static_cast<size_t>(bytes);
        if (errno != EINTR) {
            error = last_error();
            return 0;
        }
    }
}

// Makes a writing call for what is left until nothing is.
template <class Call>
void write_pieces(std::span<const char> bytes, Call call, std::error_code &error) {
    while (!bytes.empty()) {
        const size_t written = moved_bytes([&] { return call(bytes); }, error);
        if (written == 0 && !error)
            error = std::make_error_code(std::errc::io_error);
        if (error)
            return;
        bytes = bytes.subspan(written);
    }
}

} // namespace

std::error_code last_error() {
    return {errno, std::system_category()};
}

void Descriptor::reset(int number) {
    if (number_ >= 0)
        ::close(number_);
    number_ = number;
}

void Descriptor::close(std::error_code &error) {
    if (number_ >= 0 && ::close(number_) != 0)
        error = last_error();
    number_ = -1;
}

size_t read_some(int descriptor, std::span<char> buffer, std::error_code &error) {
    return moved_bytes([&] { return ::read(descriptor, buffer.data(), buffer.size()); }, error);
}

size_t read_some_at(int descriptor, uint64_t position, std::span<char> buffer, std::error_code &error) {
    return moved_bytes([&] { return ::pread(descriptor, buffer.data(), buffer.size(), static_cast<off_t>(position)); },
                       error);
}

void write_all(int descriptor, std::span<const char> bytes, std::error_code &error) {
    write_pieces(
        bytes, [&](std::span<const char> left) { return ::write(descriptor, left.data(), left.size()); }, error);
}

void write_all_at(int descriptor, uint64_t position, std::span<const char> bytes, std::error_code &error) {
    const char *start = bytes.data();
    write_pieces(
        bytes,
        [&](std::span<const char> left) {
            const auto at = static_cast<off_t>(position + static_cast<uint64_t>(left.data() - start));
            return ::pwrite(descriptor, left.data(), left.size(), at);
        },
        error);
}

} // namespace vor
