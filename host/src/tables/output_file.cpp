#include "tables/output_file.h"

#include "files/descriptor.h"
#include "files/hidden_files.h"

#include <vorhost/files.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vor {

namespace {

constexpr size_t buffer_bytes = 256 * 1024;

} // namespace

OutputFile::OutputFile(const std::string &target)
    : name_(target == "-" ? "Standard output" : target), buffer_(new char[buffer_bytes]), at_(buffer_.get()),
      end_(buffer_.get() + buffer_bytes) {
    static_assert(piece_bytes <= buffer_bytes);
    pack();
    if (target == "-") {
        descriptor_ = STDOUT_FILENO;
        return;
    }
    struct stat status {};
    const bool exists = stat(target.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode))
        fail(std::make_error_code(std::errc::is_a_directory));
    if (exists && !S_ISREG(status.st_mode)) {
        descriptor_ = open(target.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        target_ = file_identity(target);
        descriptor_ = make_hidden_beside(target_, partial_);
    }
    if (descriptor_ < 0)
        fail(last_error());
}

void OutputFile::pack() {
    const Compression compression = compression_of_name(name_);
    if (compression == Compression::none)
        return;
    const std::string member = std::filesystem::path(uncompressed_name(name_)).filename().string();
    packer_ = std::make_unique<Packer>(compression, name_, member, -1,
                                       [this](std::span<const char> bytes) { write_all(bytes); });
}

OutputFile::~OutputFile() {
    if (descriptor_ > STDERR_FILENO)
        close(descriptor_);
    if (!partial_.empty())
        remove_hidden(partial_);
}

void OutputFile::append(std::string_view bytes) {
    if (static_cast<size_t>(end_ - at_) < bytes.size()) {
        flush();
        if (bytes.size() > buffer_bytes)
            return pass_on(bytes);
    }
    at_ = std::copy(bytes.begin(), bytes.end(), at_);
}

void OutputFile::flush() {
    const auto count = static_cast<size_t>(at_ - buffer_.get());
    at_ = buffer_.get();
    pass_on({buffer_.get(), count});
}

void OutputFile::pass_on(std::span<const char> bytes) {
    if (packer_)
        packer_->write(bytes);
    else
        write_all(bytes);
}

void OutputFile::write_all(std::span<const char> bytes) {
    std::error_code error;
    vor::write_all(descriptor_, bytes, error);
    if (error)
        fail(error);
}

void OutputFile::finish() {
    flush();
    if (packer_)
        packer_->finish();
    if (target_.empty())
        return;
    if (fsync(descriptor_) != 0)
        fail(last_error());
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0)
        fail(last_error());
    const int code = move_into_place(partial_, target_, false);
    if (code != 0)
        fail({code, std::system_category()});
    partial_.clear();
}

void OutputFile::fail(std::error_code error) const {
    throw ConversionError(Failure::machine, fmt::format("{} cannot be written: {}.", name_, error.message()));
}

} // namespace vor
