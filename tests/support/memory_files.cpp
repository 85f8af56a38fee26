#include "memory_files.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

struct Access {
    bool readable;
    bool writable;
    bool sequential;
};

class MemoryFile : public ByteFile {
  public:
    MemoryFile(std::shared_ptr<std::string> bytes, Access access, Faults &faults, size_t piece_bytes,
               std::shared_ptr<int64_t> open_files)
        : bytes_(std::move(bytes)), access_(access), faults_(faults), piece_bytes_(piece_bytes),
          open_files_(std::move(open_files)) {
        ++*open_files_;
    }
    ~MemoryFile() override {
        if (open_)
            --*open_files_;
    }

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override {
        if (refused(Operation::read, access_.readable, position, error) || position >= bytes_->size())
            return 0;
        const size_t most = piece_bytes_ == 0 ? buffer.size() : std::min(buffer.size(), piece_bytes_);
        const size_t bytes = bytes_->copy(buffer.data(), most, position);
        next_ = position + bytes;
        return bytes;
    }

    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override {
        if (refused(Operation::write, access_.writable, position, error))
            return;
        if (bytes_->size() < position + bytes.size())
            bytes_->resize(position + bytes.size());
        std::memcpy(bytes_->data() + position, bytes.data(), bytes.size());
        next_ = position + bytes.size();
    }

    uint64_t size(std::error_code &error) override {
        if (access_.sequential)
            error = std::make_error_code(std::errc::invalid_seek);
        else if (faults_.strikes(Operation::size))
            error = std::make_error_code(std::errc::io_error);
        return error ? 0 : bytes_->size();
    }

    void close(std::error_code &error) override {
        if (faults_.strikes(Operation::close))
            error = std::make_error_code(std::errc::no_space_on_device);
        if (open_)
            --*open_files_;
        open_ = false;
    }

  private:
    bool refused(Operation operation, bool allowed, uint64_t position, std::error_code &error) {
        if (!open_ || !allowed)
            error = std::make_error_code(std::errc::bad_file_descriptor);
        else if (access_.sequential && position != next_)
            error = std::make_error_code(std::errc::invalid_seek);
        else if (faults_.strikes(operation))
            error = std::make_error_code(operation == Operation::write ? std::errc::no_space_on_device
                                                                       : std::errc::io_error);
        return static_cast<bool>(error);
    }

    std::shared_ptr<std::string> bytes_;
    Access access_;
    Faults &faults_;
    size_t piece_bytes_;
    std::shared_ptr<int64_t> open_files_;
    uint64_t next_ = 0;
    bool open_ = true;
};

} // namespace

void Faults::fail(Operation operation, int64_t nth, bool lasting) {
    Kind &kind = kinds_[index(operation)];
    kind.failing = nth == 0 ? 0 : kind.done + nth;
    kind.lasting = lasting;
    struck_ = false;
}

bool Faults::strikes(Operation operation) {
    Kind &kind = kinds_[index(operation)];
    ++kind.done;
    const bool now = kind.failing != 0 && (kind.done == kind.failing || (kind.lasting && kind.done > kind.failing));
    struck_ = struck_ || now;
    return now;
}

void MemoryFiles::put(const std::string &path, std::string bytes) {
    files_[absolute(path)] = std::make_shared<std::string>(std::move(bytes));
}

std::string MemoryFiles::get(const std::string &path) {
    const auto found = files_.find(absolute(path));
    if (found != files_.end())
        return *found->second;
    ADD_FAILURE() << "There is no file " << path;
    return {};
}

bool MemoryFiles::exists(const std::string &path) {
    return files_.contains(absolute(path));
}

std::vector<std::string> MemoryFiles::paths() const {
    std::vector<std::string> paths;
    for (const auto &[path, bytes] : files_)
        paths.push_back(path);
    return paths;
}

std::unique_ptr<ByteFile> MemoryFiles::sequential(std::shared_ptr<std::string> bytes) {
    return std::make_unique<MemoryFile>(std::move(bytes), Access{true, true, true}, faults_, piece_bytes_,
                                        std::make_shared<int64_t>(0));
}

std::unique_ptr<ByteFile> MemoryFiles::open(const std::string &path, OpenMode mode, std::error_code &error) {
    const std::string full = absolute(path);
    if (faults_.strikes(Operation::open))
        error = std::make_error_code(std::errc::permission_denied);
    else if (mode == OpenMode::read && !files_.contains(full))
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error)
        return nullptr;
    auto &bytes = files_[full];
    if (!bytes)
        bytes = std::make_shared<std::string>();
    if (mode != OpenMode::read)
        bytes->clear();
    return std::make_unique<MemoryFile>(bytes, Access{mode != OpenMode::copy, mode != OpenMode::read, false}, faults_,
                                        piece_bytes_, open_files_);
}

void MemoryFiles::remove(const std::string &path, std::error_code &error) {
    if (faults_.strikes(Operation::remove))
        error = std::make_error_code(std::errc::permission_denied);
    else if (files_.erase(absolute(path)) == 0)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
}

std::string MemoryFiles::absolute(const std::string &path) {
    return path.starts_with('/') ? path : "/memory/" + path;
}

std::string MemoryFiles::make(const std::string &start, const std::string &end, std::error_code &error) {
    if (faults_.strikes(Operation::make_temporary)) {
        error = std::make_error_code(std::errc::no_space_on_device);
        return {};
    }
    const std::string path = start + std::to_string(++made_) + end;
    put(path, {});
    return path;
}

std::string MemoryFiles::make_temporary(std::error_code &error) {
    return make("/temporary/", "", error);
}

std::string MemoryFiles::make_beside(const std::string &path, std::error_code &error) {
    return make(absolute(path) + ".part", path.substr(path.rfind('.')), error);
}

void MemoryFiles::replace(const std::string &complete, const std::string &path, Existing, std::error_code &error) {
    const auto found = files_.find(absolute(complete));
    if (found == files_.end()) {
        error = std::make_error_code(std::errc::no_such_file_or_directory);
        return;
    }
    files_[absolute(path)] = found->second;
    files_.erase(found);
}

} // namespace vor::test
