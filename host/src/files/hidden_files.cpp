#include "files/hidden_files.h"

#include "files/descriptor.h"
#include "files/unfinished_files.h"

#include <vorhost/files.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vor {
namespace {

constexpr size_t most_name_bytes = 200; // of the target's, so that the dots and letters around it fit

std::filesystem::path directory_of(const std::filesystem::path &path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// A directory that cannot be stored (some file systems refuse) does not make a complete file incomplete.
void store_directory(const std::filesystem::path &path) {
    const Descriptor directory(open(directory_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.open())
        fsync(directory.number());
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

int make_hidden(const std::string &start, std::string &path) {
    path = start + "XXXXXX";
    const SignalsHeld held;
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor >= 0)
        remember_unfinished(path);
    else
        path.clear();
    return descriptor;
}

int make_hidden_beside(const std::string &target, std::string &path) {
    const std::string name = std::filesystem::path(target).filename().string().substr(0, most_name_bytes);
    const int descriptor = make_hidden((directory_of(target) / fmt::format(".{}.", name)).string(), path);
    if (descriptor < 0)
        return descriptor;
    struct stat status {};
    const bool exists = stat(target.c_str(), &status) == 0;
    // A file system without permissions may refuse; the file is then for its owner alone.
    fchmod(descriptor, exists ? status.st_mode & 07777 : new_file_mode());
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

std::string file_identity(const std::string &path) {
    std::error_code error;
    const std::filesystem::path full = std::filesystem::absolute(path, error);
    const std::filesystem::path identity = error ? full : std::filesystem::weakly_canonical(full, error);
    return error ? path : identity.string();
}

} // namespace vor
