#include "tables/input_file.h"

#include <vorhost/error.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vor {

namespace {

// A new file that goes away with its descriptor; -1 with errno.
int open_nameless() {
    std::error_code none;
    const auto directory = std::filesystem::temp_directory_path(none);
    std::string path = (none ? std::filesystem::path("/tmp") : directory) / ".vordta.XXXXXX";
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor >= 0)
        unlink(path.c_str());
    return descriptor;
}

} // namespace

InputFile::InputFile(const std::string &path, bool repeatable) : name_(path == "-" ? "Standard input" : path) {
    descriptor_ = path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0)
        fail(errno, "read");
    if (S_ISDIR(status.st_mode))
        fail(EISDIR, "read");
    // Standard input may be a file that somebody has already read a part of, so it is copied even then.
    if (repeatable && (path == "-" || !S_ISREG(status.st_mode)))
        keep_copy();
}

InputFile::~InputFile() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

void InputFile::keep_copy() {
    const int copy = open_nameless();
    if (copy < 0)
        fail(errno, "copied into a temporary file");
    std::array<char, 65536> piece;
    try {
        while (const size_t count = read(piece)) {
            for (size_t done = 0; done < count;) {
                const ssize_t written = write(copy, piece.data() + done, count - done);
                if (written < 0 && errno != EINTR)
                    fail(errno, "copied into a temporary file");
                done += written > 0 ? static_cast<size_t>(written) : 0;
            }
        }
    } catch (...) {
        close(copy);
        throw;
    }
    close(descriptor_);
    descriptor_ = copy;
    rewind();
}

size_t InputFile::read(std::span<char> buffer) {
    for (;;) {
        const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
        if (count >= 0)
            return static_cast<size_t>(count);
        if (errno != EINTR)
            fail(errno, "read");
    }
}

void InputFile::rewind() {
    if (lseek(descriptor_, 0, SEEK_SET) < 0)
        fail(errno, "read");
}

uint64_t InputFile::size() const {
    struct stat status {};
    const bool regular = fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    return regular ? static_cast<uint64_t>(status.st_size) : 0;
}

void InputFile::fail(int code, const char *what) const {
    throw ConversionError(Failure::machine,
                          fmt::format("{} cannot be {}: {}.", name_, what, std::system_category().message(code)));
}

} // namespace vor
