// The machine's files through the system's calls, each error as the system gives it.

#include "files/descriptor.h"
#include "files/hidden_files.h"

#include <vorhost/files.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace vor {
namespace {

// A pipe or device goes front to back: its bytes are the next ones, whatever the position.
class DiskFile : public ByteFile {
  public:
    DiskFile(int descriptor, bool stream) : descriptor_(descriptor), stream_(stream) {}

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override {
        if (stream_)
            return at_next(position, error) ? moved(read_some(descriptor_.number(), buffer, error)) : 0;
        size_t done = 0;
        for (size_t got = 1; got > 0 && done < buffer.size(); done += got)
            got = read_some_at(descriptor_.number(), position + done, buffer.subspan(done), error);
        return done;
    }

    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override {
        if (!stream_)
            return write_all_at(descriptor_.number(), position, bytes, error);
        if (at_next(position, error))
            write_all(descriptor_.number(), bytes, error);
        moved(bytes.size());
    }

    uint64_t size(std::error_code &error) override {
        struct stat status {};
        if (stream_)
            error = std::make_error_code(std::errc::invalid_seek);
        else if (::fstat(descriptor_.number(), &status) != 0)
            error = last_error();
        return error ? 0 : static_cast<uint64_t>(status.st_size);
    }

    void store(std::error_code &error) override {
        if (!stream_ && ::fsync(descriptor_.number()) != 0)
            error = last_error();
    }

    void close(std::error_code &error) override { descriptor_.close(error); }

  private:
    bool at_next(uint64_t position, std::error_code &error) const {
        if (position != next_)
            error = std::make_error_code(std::errc::invalid_seek);
        return position == next_;
    }
    size_t moved(size_t bytes) {
        next_ += bytes;
        return bytes;
    }

    Descriptor descriptor_;
    bool stream_;
    uint64_t next_ = 0; // of a stream
};

void store(const std::string &path, std::error_code &error) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.open() || ::fsync(file.number()) != 0)
        error = last_error();
}

// The file of this descriptor is made; without one, why it is not.
std::string made(const Descriptor &file, std::string path, std::error_code &error) {
    if (!file.open())
        error = last_error();
    return path;
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
        struct stat status {};
        const bool known = ::fstat(descriptor, &status) == 0;
        auto file = std::make_unique<DiskFile>(descriptor, known && !S_ISREG(status.st_mode));
        if (known && S_ISDIR(status.st_mode)) {
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

    bool is_stream(const std::string &path) override {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
    }

    std::string absolute(const std::string &path) override {
        std::error_code error;
        const std::filesystem::path full = std::filesystem::absolute(path, error);
        return error ? path : full.string();
    }

    std::string make_temporary(std::error_code &error) override {
        std::filesystem::path folder = temporary_directory_;
        if (folder.empty())
            folder = std::filesystem::temp_directory_path(error);
        if (error)
            return {};
        std::string path;
        const Descriptor file(make_hidden((folder / "vordta-").string(), {}, path));
        return made(file, std::move(path), error);
    }

    std::string make_beside(const std::string &path, std::error_code &error) override {
        std::string hidden;
        const Descriptor file(make_hidden_beside(behind_links(path), hidden));
        return made(file, std::move(hidden), error);
    }

    void replace(const std::string &complete, const std::string &path, Existing existing,
                 std::error_code &error) override {
        store(complete, error);
        if (error)
            return;
        if (const int code = move_into_place(complete, behind_links(path), existing == Existing::kept); code != 0)
            error = {code, std::system_category()};
    }

  private:
    std::string temporary_directory_;
};

} // namespace

std::unique_ptr<ByteFile> standard_file(int descriptor, std::error_code &error) {
    Descriptor own(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!own.open())
        error = last_error();
    return std::make_unique<DiskFile>(own.release(), true);
}

FileSystem &machine_files() {
    static DiskFiles files({});
    return files;
}

std::unique_ptr<FileSystem> disk_files(std::string temporary_directory) {
    return std::make_unique<DiskFiles>(std::move(temporary_directory));
}

} // namespace vor
