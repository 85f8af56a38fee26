#include "jobs/replacing_files.h"

#include <vorhost/error.h>

#include <filesystem>
#include <fmt/format.h>
#include <vector>

namespace vor {

namespace {

constexpr size_t block_bytes = 256 * 1024;

// A temporary file that goes away unless it is taken.
class Beside {
  public:
    Beside(FileSystem &files, const std::string &target, std::error_code &error)
        : files_(files), path_(files.make_beside(target, error)) {}
    ~Beside() {
        std::error_code ignored;
        if (!path_.empty())
            files_.remove(path_, ignored);
    }
    Beside(const Beside &) = delete;
    Beside &operator=(const Beside &) = delete;

    std::string &path() { return path_; }

  private:
    FileSystem &files_;
    std::string path_;
};

} // namespace

ReplacingFiles::ReplacingFiles(FileSystem &files, std::string written, std::string target)
    : files_(files), written_(std::move(written)), target_(std::move(target)) {}

ReplacingFiles::~ReplacingFiles() {
    std::error_code ignored;
    if (!partial_.empty())
        files_.remove(partial_, ignored);
}

void ReplacingFiles::commit() {
    const Compression compression = compression_of_name(target_);
    if (compression != Compression::none)
        pack(compression);
    std::error_code error;
    files_.replace(partial_, target_, error);
    check(error);
    partial_.clear();
}

// Puts a compressed file in the place of the temporary file.
void ReplacingFiles::pack(Compression compression) {
    std::error_code error;
    const std::unique_ptr<ByteFile> plain = files_.open(partial_, OpenMode::read, error);
    check(error);
    const uint64_t bytes = plain->size(error);
    check(error);
    Beside beside(files_, target_, error);
    check(error);
    const std::unique_ptr<ByteFile> packed = files_.open(beside.path(), OpenMode::replace, error);
    check(error);
    const std::string member = std::filesystem::path(written_).filename().string();
    Packer packer(compression, target_, member, static_cast<int64_t>(bytes),
                  [&, end = uint64_t{0}](std::span<const char> block) mutable {
                      packed->write(end, block, error);
                      check(error);
                      end += block.size();
                  });
    feed(packer, *plain, bytes);
    packer.finish();
    packed->close(error);
    check(error);
    std::swap(partial_, beside.path());
}

void ReplacingFiles::feed(Packer &packer, ByteFile &plain, uint64_t bytes) const {
    std::vector<char> block(block_bytes);
    std::error_code error;
    for (uint64_t done = 0; done < bytes;) {
        const size_t got = plain.read(done, block, error);
        check(got == 0 && !error ? std::make_error_code(std::errc::io_error) : error);
        packer.write(std::span(block).first(got));
        done += got;
    }
}

void ReplacingFiles::check(std::error_code error) const {
    if (error)
        throw ConversionError(Failure::machine, fmt::format("{} cannot be written: {}.", target_, error.message()));
}

std::unique_ptr<ByteFile> ReplacingFiles::open(const std::string &path, OpenMode mode, std::error_code &error) {
    if (path != written_)
        return files_.open(path, mode, error);
    if (partial_.empty() && mode != OpenMode::read)
        partial_ = files_.make_beside(target_, error);
    return error ? nullptr : files_.open(partial_, mode, error);
}

void ReplacingFiles::remove(const std::string &path, std::error_code &error) {
    if (path != written_)
        return files_.remove(path, error);
    if (!partial_.empty())
        files_.remove(partial_, error);
    partial_.clear();
}

bool ReplacingFiles::exists(const std::string &path) {
    return files_.exists(path);
}
std::string ReplacingFiles::absolute(const std::string &path) {
    return files_.absolute(path);
}
std::string ReplacingFiles::make_temporary(std::error_code &error) {
    return files_.make_temporary(error);
}

std::string ReplacingFiles::make_beside(const std::string &path, std::error_code &error) {
    return files_.make_beside(path, error);
}

void ReplacingFiles::replace(const std::string &complete, const std::string &path, std::error_code &error) {
    files_.replace(complete, path, error);
}

} // namespace vor
