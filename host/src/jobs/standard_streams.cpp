// A stream cannot go back: a read or write anywhere but at the next byte is an error, except within the bytes of
// standard input that were read ahead.

#include "jobs/standard_streams.h"

#include <vorhost/error.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace vor {
namespace {

// Fills the buffer as far as the stream goes; the bytes read.
size_t read_fully(std::span<char> buffer, std::error_code &error) {
    size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t got = ::read(STDIN_FILENO, buffer.data() + done, buffer.size() - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            error = {errno, std::system_category()};
        if (got <= 0)
            break;
        done += static_cast<size_t>(got);
    }
    return done;
}

const std::error_code cannot_seek = std::make_error_code(std::errc::invalid_seek);

} // namespace

StandardInput::StandardInput(size_t head_bytes) : head_(head_bytes, '\0'), position_(0) {
    std::error_code error;
    head_.resize(read_fully(head_, error));
    if (error)
        throw ConversionError(Failure::machine, "Standard input cannot be read: " + error.message() + ".");
    position_ = head_.size();
}

size_t StandardInput::read(uint64_t position, std::span<char> buffer, std::error_code &error) {
    size_t done = 0;
    if (position < head_.size()) {
        done = std::min(buffer.size(), head_.size() - static_cast<size_t>(position));
        std::memcpy(buffer.data(), head_.data() + position, done);
    }
    if (done == buffer.size())
        return done;
    if (position + done != position_) {
        error = cannot_seek;
        return done;
    }
    const size_t got = read_fully(buffer.subspan(done), error);
    position_ += got;
    return done + got;
}

void StandardInput::write(uint64_t, std::span<const char>, std::error_code &error) {
    error = std::make_error_code(std::errc::bad_file_descriptor);
}

uint64_t StandardInput::size(std::error_code &error) {
    error = cannot_seek;
    return 0;
}

void StandardInput::close(std::error_code &) {}

size_t StandardOutput::read(uint64_t, std::span<char>, std::error_code &error) {
    error = std::make_error_code(std::errc::bad_file_descriptor);
    return 0;
}

void StandardOutput::write(uint64_t position, std::span<const char> bytes, std::error_code &error) {
    if (!*open_ || position != written_) {
        error = cannot_seek;
        return;
    }
    while (!bytes.empty()) {
        const ssize_t put = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0) {
            error = {errno, std::system_category()};
            return;
        }
        written_ += static_cast<uint64_t>(put);
        bytes = bytes.subspan(static_cast<size_t>(put));
    }
}

uint64_t StandardOutput::size(std::error_code &) {
    return written_;
}

void StandardOutput::close(std::error_code &) {}

} // namespace vor
