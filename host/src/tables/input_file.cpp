#include "tables/input_file.h"

#include <vorhost/error.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vor {

namespace {

// What cannot be done to a file, for sentences.
constexpr const char *reading = "read";
constexpr const char *copying = "copied into a temporary file";

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
    descriptor_.reset(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!descriptor_.open() || fstat(descriptor_.number(), &status) != 0)
        check(last_error(), reading);
    if (S_ISDIR(status.st_mode))
        check(std::make_error_code(std::errc::is_a_directory), reading);
    // Standard input may be a file that somebody has already read a part of, so it counts as a stream even then.
    seekable_ = path != "-" && S_ISREG(status.st_mode);
    look_at_start();
    if (!seekable_ && (repeatable || compression_ != Compression::none))
        keep_copy();
    if (compression_ != Compression::none)
        unpack_from_start();
}

// The bytes looked at stay to be read.
void InputFile::look_at_start() {
    start_.resize(compression_mark_bytes);
    size_t done = 0;
    for (size_t got = 1; got > 0 && done < start_.size(); done += got)
        got = read_descriptor(std::span(start_).subspan(done));
    start_.resize(done);
    compression_ = compression_of_bytes(start_);
    if (seekable_)
        rewind();
}

void InputFile::unpack_from_start() {
    unpacker_ = unpack(
        compression_,
        {name_, [this](uint64_t position, std::span<char> buffer) { return read_at(position, buffer); }, file_bytes()});
}

void InputFile::keep_copy() {
    Descriptor copy(open_nameless());
    if (!copy.open())
        check(last_error(), copying);
    std::array<char, 65536> piece;
    while (const size_t count = read(piece)) {
        std::error_code error;
        write_all(copy.number(), std::span(piece).first(count), error);
        check(error, copying);
    }
    descriptor_ = std::move(copy);
    rewind();
}

size_t InputFile::read(std::span<char> buffer) {
    if (unpacker_)
        return unpacker_->read(buffer);
    if (start_.empty())
        return read_descriptor(buffer);
    const size_t count = std::min(buffer.size(), start_.size());
    std::copy_n(start_.begin(), count, buffer.begin());
    start_.erase(0, count);
    return count;
}

size_t InputFile::read_descriptor(std::span<char> buffer) const {
    std::error_code error;
    const size_t count = read_some(descriptor_.number(), buffer, error);
    check(error, reading);
    return count;
}

size_t InputFile::read_at(uint64_t position, std::span<char> buffer) const {
    std::error_code error;
    const size_t count = read_some_at(descriptor_.number(), position, buffer, error);
    check(error, reading);
    return count;
}

void InputFile::rewind() {
    start_.clear();
    if (unpacker_)
        unpack_from_start();
    else if (lseek(descriptor_.number(), 0, SEEK_SET) < 0)
        check(last_error(), reading);
}

void InputFile::tell_remark(const Notes &notes) const {
    const std::string remark = misnamed(name_, compression_);
    if (notes && !remark.empty())
        notes(fmt::format("{}: {}", name_, remark));
}

uint64_t InputFile::size() const {
    return unpacker_ ? 0 : file_bytes();
}

uint64_t InputFile::file_bytes() const {
    struct stat status {};
    const bool regular = fstat(descriptor_.number(), &status) == 0 && S_ISREG(status.st_mode);
    return regular ? static_cast<uint64_t>(status.st_size) : 0;
}

void InputFile::check(std::error_code error, const char *what) const {
    if (error)
        throw ConversionError(Failure::machine, fmt::format("{} cannot be {}: {}.", name_, what, error.message()));
}

} // namespace vor
