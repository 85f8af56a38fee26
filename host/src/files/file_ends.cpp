#include "files/file_ends.h"

#include <algorithm>
#include <vector>

namespace vor {
namespace {

// Written front to back once. The end is a ring: the byte at a position stands at the position's place in it.
class EndsOnly : public ByteFile {
  public:
    EndsOnly(std::unique_ptr<ByteFile> whole, const FileEnds::Repeat &repeat)
        : whole_(std::move(whole)), repeat_(repeat) {}

    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override {
        if (position != size_ || complete_) {
            error = std::make_error_code(std::errc::invalid_seek);
            return;
        }
        size_ += bytes.size();
        const size_t at_start = std::min(bytes.size(), FileEnds::kept_bytes - start_.size());
        start_.insert(start_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at_start));
        bytes = bytes.subspan(at_start);
        if (bytes.size() > FileEnds::kept_bytes)
            bytes = bytes.last(FileEnds::kept_bytes);
        if (!bytes.empty())
            end_.resize(FileEnds::kept_bytes);
        for (uint64_t at = size_ - bytes.size(); !bytes.empty();) {
            const size_t count = std::min(bytes.size(), to_the_rings_end(at));
            std::copy_n(bytes.begin(), count, end_.begin() + place(at));
            bytes = bytes.subspan(count);
            at += count;
        }
    }

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override {
        if (position >= size_)
            return 0;
        const bool at_end = position >= start_.size() && position + FileEnds::kept_bytes >= size_;
        if (!complete_ && position >= start_.size() && !at_end)
            complete(error);
        if (error)
            return 0;
        if (complete_)
            return whole_->read(position, buffer, error);
        if (!at_end)
            return static_cast<size_t>(std::copy_n(start_.begin() + static_cast<std::ptrdiff_t>(position),
                                                   std::min<uint64_t>(buffer.size(), start_.size() - position),
                                                   buffer.begin()) -
                                       buffer.begin());
        const size_t count =
            std::min({buffer.size(), to_the_rings_end(position), static_cast<size_t>(size_ - position)});
        std::copy_n(end_.begin() + place(position), count, buffer.begin());
        return count;
    }

    uint64_t size(std::error_code &) override { return size_; }
    void close(std::error_code &error) override { whole_->close(error); }

  private:
    static std::ptrdiff_t place(uint64_t position) {
        return static_cast<std::ptrdiff_t>(position % FileEnds::kept_bytes);
    }
    static size_t to_the_rings_end(uint64_t position) {
        return FileEnds::kept_bytes - static_cast<size_t>(place(position));
    }

    void complete(std::error_code &error) {
        try {
            repeat_(*whole_, error);
            complete_ = !error;
        } catch (const std::exception &) {
            error = std::make_error_code(std::errc::io_error);
        }
    }

    std::unique_ptr<ByteFile> whole_; // empty until it is complete
    const FileEnds::Repeat &repeat_;
    bool complete_ = false;
    uint64_t size_ = 0;
    std::vector<char> start_;
    std::vector<char> end_;
};

} // namespace

std::unique_ptr<ByteFile> FileEnds::open(const std::string &path, OpenMode mode, std::error_code &error) {
    std::unique_ptr<ByteFile> file = others_.open(path, mode, error);
    if (error || !temporary_.contains(path))
        return file;
    return std::make_unique<EndsOnly>(std::move(file), repeat_);
}

std::string FileEnds::make_temporary(std::error_code &error) {
    std::string path = others_.make_temporary(error);
    if (!error)
        temporary_.insert(path);
    return path;
}

} // namespace vor
