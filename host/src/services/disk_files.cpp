// The machine's files through the system's calls, each error as the system gives it.

#include "services/unfinished_files.h"

#include <vorhost/files.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace vor {
namespace {

constexpr int NAMES_TRIED = 100;

std::error_code last_error() {
    return {errno, std::system_category()};
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return number_; }

    void close(std::error_code &error) {
        if (number_ >= 0 && ::close(number_) != 0)
            error = last_error();
        number_ = -1;
    }

  private:
    int number_;
};

class DiskFile : public ByteFile {
  public:
    explicit DiskFile(int descriptor) : descriptor_(descriptor) {}

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override {
        size_t done = 0;
        while (done < buffer.size()) {
            const ssize_t bytes = ::pread(descriptor_.number(), buffer.data() + done, buffer.size() - done,
                                          static_cast<off_t>(position + done));
            if (bytes < 0 && errno == EINTR)
                continue;
            if (bytes < 0)
                error = last_error();
            if (bytes <= 0)
                break;
            done += static_cast<size_t>(bytes);
        }
        return done;
    }

    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override {
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t written = ::pwrite(descriptor_.number(), bytes.data() + done, bytes.size() - done,
                                             static_cast<off_t>(position + done));
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0) {
                error = written < 0 ? last_error() : std::make_error_code(std::errc::io_error);
                return;
            }
            done += static_cast<size_t>(written);
        }
    }

    uint64_t size(std::error_code &error) override {
        struct stat status {};
        if (::fstat(descriptor_.number(), &status) != 0) {
            error = last_error();
            return 0;
        }
        return static_cast<uint64_t>(status.st_size);
    }

    void close(std::error_code &error) override { descriptor_.close(error); }

  private:
    Descriptor descriptor_;
};

// Where a path leads when it is a symbolic link; otherwise the path.
std::filesystem::path behind_links(const std::string &path) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(path, error);
    return error ? std::filesystem::path(path) : target;
}

// Makes a new file whose name ends in random letters.
std::string make_file(const std::string &start, mode_t mode, std::error_code &error) {
    static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    for (int tried = 0; tried < NAMES_TRIED; ++tried) {
        std::string path = start;
        for (int letter = 0; letter < 8; ++letter)
            path += letters[random() % (sizeof letters - 1)];
        const SignalsHeld held;
        const Descriptor made(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (made.number() >= 0) {
            remember_unfinished(path);
            return path;
        }
        if (errno != EEXIST)
            break;
    }
    error = last_error();
    return {};
}

void store(const std::filesystem::path &path, std::error_code &error) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0 || ::fsync(file.number()) != 0)
        error = last_error();
}

class DiskFiles : public FileSystem {
  public:
    explicit DiskFiles(std::string temporary_directory) : temporary_directory_(std::move(temporary_directory)) {}

    std::unique_ptr<ByteFile> open(const std::string &path, OpenMode mode, std::error_code &error) override {
        const int flags = mode == OpenMode::read      ? O_RDONLY
                          : mode == OpenMode::replace ? O_RDWR | O_CREAT | O_TRUNC
                                                      : O_WRONLY | O_CREAT | O_TRUNC;
        const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
        if (descriptor < 0) {
            error = last_error();
            return nullptr;
        }
        auto file = std::make_unique<DiskFile>(descriptor);
        struct stat status {};
        if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
            error = std::make_error_code(std::errc::is_a_directory);
            return nullptr;
        }
        return file;
    }

    void remove(const std::string &path, std::error_code &error) override {
        if (::unlink(path.c_str()) != 0)
            error = last_error();
        forget_unfinished(path);
    }

    bool exists(const std::string &path) override { return ::access(path.c_str(), F_OK) == 0; }

    std::string absolute(const std::string &path) override {
        std::error_code error;
        const std::filesystem::path full = std::filesystem::absolute(path, error);
        return error ? path : full.string();
    }

    std::string make_temporary(std::error_code &error) override {
        std::filesystem::path folder = temporary_directory_;
        if (folder.empty())
            folder = std::filesystem::temp_directory_path(error);
        return error ? std::string() : make_file((folder / "vordta-").string(), 0600, error);
    }

    std::string make_beside(const std::string &path, std::error_code &error) override {
        const std::filesystem::path target = behind_links(path);
        const std::string start = (target.parent_path() / ("." + target.filename().string() + ".")).string();
        std::string made = make_file(start, 0666, error);
        struct stat status {};
        if (!error && ::stat(target.c_str(), &status) == 0 && ::chmod(made.c_str(), status.st_mode & 07777) != 0) {
            error = last_error();
            std::error_code ignored;
            remove(made, ignored);
            made.clear();
        }
        return made;
    }

    void replace(const std::string &complete, const std::string &path, std::error_code &error) override {
        const std::filesystem::path target = behind_links(path);
        store(complete, error);
        if (error)
            return;
        if (::rename(complete.c_str(), target.c_str()) != 0) {
            error = last_error();
            return;
        }
        forget_unfinished(complete);
        std::error_code ignored; // the file is in its place; some file systems cannot store a directory by itself
        store(target.has_parent_path() ? target.parent_path() : std::filesystem::path("."), ignored);
    }

  private:
    std::string temporary_directory_;
};

} // namespace

std::unique_ptr<FileSystem> disk_files(std::string temporary_directory) {
    return std::make_unique<DiskFiles>(std::move(temporary_directory));
}

} // namespace vor
