// A stream cannot go back: a read or write anywhere but at the next byte is an error, except within the bytes
// that were read ahead.

#include "jobs/standard_streams.h"

#include "files/descriptor.h"

#include <vorhost/error.h>

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace vor {
namespace {

const std::error_code cannot_seek = std::make_error_code(std::errc::invalid_seek);

} // namespace

size_t read_standard_input(std::span<char> buffer) {
    std::error_code error;
    const size_t got = read_some(STDIN_FILENO, buffer, error);
    if (error)
        throw ConversionError(Failure::machine, "Standard input cannot be read: " + error.message() + ".");
    return got;
}

InputStream::InputStream(Source source, size_t head_bytes) : source_(std::move(source)), head_(head_bytes, '\0') {
    head_.resize(fill(head_));
    position_ = head_.size();
}

// Fills the buffer as far as the stream goes; the bytes read.
size_t InputStream::fill(std::span<char> buffer) {
    size_t done = 0;
    for (size_t got = 1; got > 0 && done < buffer.size(); done += got)
        got = source_(buffer.subspan(done));
    return done;
}

size_t InputStream::read(uint64_t position, std::span<char> buffer, std::error_code &error) {
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
    try {
        const size_t got = fill(buffer.subspan(done));
        position_ += got;
        return done + got;
    } catch (...) {
        *failure_ = std::current_exception();
        error = std::make_error_code(std::errc::io_error);
        return done;
    }
}

void InputStream::write(uint64_t, std::span<const char>, std::error_code &error) {
    error = std::make_error_code(std::errc::bad_file_descriptor);
}

uint64_t InputStream::size(std::error_code &error) {
    error = cannot_seek;
    return 0;
}

void InputStream::close(std::error_code &) {}

size_t StandardOutput::read(uint64_t, std::span<char>, std::error_code &error) {
    error = std::make_error_code(std::errc::bad_file_descriptor);
    return 0;
}

void StandardOutput::write(uint64_t position, std::span<const char> bytes, std::error_code &error) {
    if (!*open_ || position != written_) {
        error = cannot_seek;
        return;
    }
    write_all(STDOUT_FILENO, bytes, error);
    written_ += bytes.size();
}

uint64_t StandardOutput::size(std::error_code &) {
    return written_;
}

void StandardOutput::close(std::error_code &) {}

} // namespace vor
