#include "files/file_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace vor {
namespace {

constexpr int64_t MOST_READ_BYTES = int64_t{64} << 20;  // one read; the module asks for 64000 at a time
constexpr uint64_t MOST_FILE_BYTES = uint64_t{1} << 62; // positions beyond are refused
constexpr double MOST_BYTE_NUMBER = 9007199254740992.0; // 2 to the 53rd: beyond, doubles skip bytes

FileStream &stream_of(WX_FILE *handle) {
    return *static_cast<FileStream *>(handle);
}

int32_t byte_to_position(WX_FILE *, double byte_number, void *position) {
    if (!(byte_number >= 1 && byte_number <= MOST_BYTE_NUMBER))
        return FILE_BAD_POSITION;
    const uint64_t offset = static_cast<uint64_t>(byte_number) - 1;
    std::memcpy(position, &offset, sizeof offset);
    return 0;
}

} // namespace

FileStream::FileStream(std::unique_ptr<ByteFile> file, ErrorRecorder record)
    : WX_FILE{}, file_(std::move(file)), record_(std::move(record)), window_(WINDOW_BYTES) {
    stream_.owner = this;
    stream_.read = [](WX_STREAM *bytes, const char **data, int64_t *delivered, int64_t requested, char *) {
        return static_cast<Stream *>(bytes)->owner->read(data, delivered, requested);
    };
    stream_.write = [](WX_STREAM *bytes, const char *data, int64_t length_bytes, int32_t) {
        return static_cast<Stream *>(bytes)->owner->write(data, length_bytes);
    };
    WX_FILE::stream = &stream_;
    WX_FILE::note = [](WX_FILE *handle, void *position) {
        std::memcpy(position, &stream_of(handle).position_, sizeof(uint64_t));
        return int32_t{0};
    };
    WX_FILE::point = [](WX_FILE *handle, const void *position) {
        stream_of(handle).position_ = offset_of(position);
        return int32_t{0};
    };
    WX_FILE::byte_to_position = vor::byte_to_position;
}

uint64_t FileStream::offset_of(const void *position) {
    uint64_t offset;
    std::memcpy(&offset, position, sizeof offset);
    return offset;
}

int32_t FileStream::fail(std::error_code error) {
    record_(error);
    return FILE_FAILED;
}

size_t FileStream::ahead() const {
    if (position_ < start_ || position_ - start_ >= valid_)
        return 0;
    return valid_ - static_cast<size_t>(position_ - start_);
}

int32_t FileStream::read(const char **data, int64_t *delivered, int64_t requested) {
    *data = window_.data();
    *delivered = 0;
    if (requested < 0 || requested > MOST_READ_BYTES || position_ > MOST_FILE_BYTES)
        return FILE_BAD_REQUEST;
    const auto wanted = static_cast<size_t>(requested);
    if (ahead() < wanted && !fill(wanted))
        return FILE_FAILED;
    const size_t bytes = std::min(wanted, ahead());
    if (bytes == 0)
        return 0;
    *data = window_.data() + (position_ - start_);
    *delivered = static_cast<int64_t>(bytes);
    position_ += bytes;
    return 0;
}

// Moves the window to the position, keeping what it already has from there on, and fills it: a request that begins near
// the window's end is served in one piece, and a file that is read from front to back is never asked for a byte twice.
bool FileStream::fill(size_t wanted_bytes) {
    if (flush() != 0)
        return false;
    const size_t kept = ahead();
    if (kept > 0)
        std::memmove(window_.data(), window_.data() + (position_ - start_), kept);
    start_ = position_;
    valid_ = kept;
    dirty_from_ = dirty_until_ = 0;
    if (window_.size() < wanted_bytes)
        window_.resize(wanted_bytes);
    while (valid_ < window_.size()) {
        std::error_code error;
        const size_t bytes = file_->read(start_ + valid_, std::span(window_).subspan(valid_), error);
        if (error) {
            fail(error);
            return false;
        }
        if (bytes == 0)
            break;
        valid_ += bytes;
    }
    return true;
}

int32_t FileStream::write(const char *data, int64_t length_bytes) {
    if (length_bytes < 0 || position_ > MOST_FILE_BYTES)
        return FILE_BAD_REQUEST;
    if (length_bytes == 0)
        return 0;
    const auto bytes = static_cast<size_t>(length_bytes);
    const bool joins = position_ >= start_ && position_ - start_ <= valid_;
    if (!joins || position_ - start_ + bytes > window_.size()) {
        if (const int32_t code = flush(); code != 0)
            return code;
        start_ = position_;
        valid_ = 0;
    }
    if (bytes > window_.size()) {
        if (!put(position_, data, bytes))
            return FILE_FAILED;
        position_ += bytes;
        start_ = position_;
        return 0;
    }
    const auto at = static_cast<size_t>(position_ - start_);
    std::memcpy(window_.data() + at, data, bytes);
    const bool clean = dirty_from_ == dirty_until_;
    dirty_from_ = clean ? at : std::min(dirty_from_, at);
    dirty_until_ = clean ? at + bytes : std::max(dirty_until_, at + bytes);
    valid_ = std::max(valid_, at + bytes);
    position_ += bytes;
    return 0;
}

bool FileStream::put(uint64_t offset, const char *data, size_t bytes) {
    std::error_code error;
    file_->write(offset, std::span(data, bytes), error);
    if (!error)
        return true;
    fail(error);
    lost_ = true;
    return false;
}

int32_t FileStream::flush() {
    if (lost_)
        return FILE_FAILED;
    if (dirty_from_ == dirty_until_)
        return 0;
    const size_t from = dirty_from_;
    const size_t bytes = dirty_until_ - dirty_from_;
    dirty_from_ = dirty_until_ = 0;
    return put(start_ + from, window_.data() + from, bytes) ? 0 : FILE_FAILED;
}

int32_t FileStream::close() {
    const int32_t code = flush();
    std::error_code error;
    file_->close(error);
    return error ? fail(error) : code;
}

int32_t FileStream::size(uint64_t &bytes) {
    if (const int32_t code = flush(); code != 0)
        return code;
    std::error_code error;
    bytes = file_->size(error);
    return error ? fail(error) : 0;
}

} // namespace vor
