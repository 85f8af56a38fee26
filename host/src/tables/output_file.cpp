#include "tables/output_file.h"

#include "services/unfinished_files.h"

#include <vorhost/files.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vor {

namespace {

constexpr size_t buffer_bytes = 256 * 1024;

std::filesystem::path directory_of(const std::string &path) {
    const std::filesystem::path directory = std::filesystem::path(path).parent_path();
    return directory.empty() ? std::filesystem::path(".") : directory;
}

mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// A directory that cannot be stored (some file systems refuse) does not make a complete file incomplete.
void store_directory(const std::string &path) {
    const int directory = open(directory_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return;
    fsync(directory);
    close(directory);
}

int rename_keeping_existing(const char *from, const char *to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    struct stat status {};
    if (lstat(to, &status) == 0)
        return EEXIST;
    return rename(from, to) == 0 ? 0 : errno;
}

} // namespace

int make_hidden_beside(const std::string &target, std::string &path) {
    const std::filesystem::path name = std::filesystem::path(target).filename();
    path = (directory_of(target) / fmt::format(".{}.XXXXXX", name.string().substr(0, 200))).string();
    const SignalsHeld held;
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0)
        return descriptor;
    remember_unfinished(path);
    fchmod(descriptor, new_file_mode());
    return descriptor;
}

void remove_hidden(const std::string &path) {
    unlink(path.c_str());
    forget_unfinished(path);
}

int move_into_place(const std::string &complete, const std::string &target, bool keep_existing) {
    const int code = keep_existing ? rename_keeping_existing(complete.c_str(), target.c_str())
                     : rename(complete.c_str(), target.c_str()) == 0 ? 0
                                                                     : errno;
    if (code != 0)
        return code;
    forget_unfinished(complete);
    store_directory(target);
    return code;
}

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
        fail(EISDIR);
    if (exists && !S_ISREG(status.st_mode)) {
        descriptor_ = open(target.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        std::error_code unresolved;
        const auto real = std::filesystem::weakly_canonical(target, unresolved);
        target_ = unresolved ? target : real.string();
        descriptor_ = make_hidden_beside(target_, partial_);
        if (descriptor_ >= 0 && exists)
            fchmod(descriptor_, status.st_mode & 07777);
    }
    if (descriptor_ < 0) {
        partial_.clear();
        fail(errno);
    }
}

void OutputFile::pack() {
    const Compression compression = compression_of_name(name_);
    if (compression == Compression::none)
        return;
    const std::string member = std::filesystem::path(uncompressed_name(name_)).filename().string();
    packer_ = std::make_unique<Packer>(compression, name_, member, -1,
                                       [this](std::span<const char> bytes) { write_all(bytes.data(), bytes.size()); });
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
            return pass_on(bytes.data(), bytes.size());
    }
    at_ = std::copy(bytes.begin(), bytes.end(), at_);
}

void OutputFile::flush() {
    const auto count = static_cast<size_t>(at_ - buffer_.get());
    at_ = buffer_.get();
    pass_on(buffer_.get(), count);
}

void OutputFile::pass_on(const char *bytes, size_t count) {
    if (packer_)
        packer_->write({bytes, count});
    else
        write_all(bytes, count);
}

void OutputFile::write_all(const char *bytes, size_t count) {
    while (count > 0) {
        const ssize_t written = write(descriptor_, bytes, count);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            fail(written < 0 ? errno : EIO);
        bytes += written;
        count -= static_cast<size_t>(written);
    }
}

void OutputFile::finish() {
    flush();
    if (packer_)
        packer_->finish();
    if (target_.empty())
        return;
    if (fsync(descriptor_) != 0)
        fail(errno);
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0)
        fail(errno);
    const int code = move_into_place(partial_, target_, false);
    if (code != 0)
        fail(code);
    partial_.clear();
}

void OutputFile::fail(int code) const {
    throw ConversionError(Failure::machine,
                          fmt::format("{} cannot be written: {}.", name_, std::system_category().message(code)));
}

} // namespace vor
