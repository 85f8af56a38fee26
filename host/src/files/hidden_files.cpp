#include "files/hidden_files.h"

#include "files/descriptor.h"

#include <vorhost/files.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <limits.h>
#include <mutex>
#include <random>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vor {
namespace {

constexpr size_t most_name_bytes = 200; // of the target's, so that the dots and letters around it fit
constexpr mode_t permissions = 0777;    // what is copied of a target's mode: not to whom a program may change

// A signal may come between any two steps, so a path stands in memory that stays and counts from its flag on.
struct Place {
    std::atomic<bool> taken = false;
    char path[PATH_MAX] = {};
};

std::array<Place, 16> places;
std::mutex changing;

static_assert(std::atomic<bool>::is_always_lock_free);

// While it lives no signal comes, so that none finds a file made that is not noted down yet.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    sigset_t before_;
};

std::filesystem::path directory_of(const std::filesystem::path &path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

std::string random_letters() {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::random_device random;
    std::string text(6, ' ');
    for (char &letter : text)
        letter = letters[std::uniform_int_distribution<size_t>(0, letters.size() - 1)(random)];
    return text;
}

// The system takes from `mode` what the process keeps from new files.
int make_new(const std::string &start, const std::string &end, mode_t mode, std::string &path) {
    constexpr int attempts = 100;
    const SignalsHeld held;
    int descriptor = -1;
    for (int i = 0; i < attempts && descriptor < 0 && (i == 0 || errno == EEXIST); ++i) {
        path = start;
        path += random_letters();
        path += end;
        descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    }
    if (descriptor >= 0)
        remember_unfinished(path);
    else
        path.clear();
    return descriptor;
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

// A path without dots and repeated slashes; links in its directories are followed.
std::string canonical(const std::string &path) {
    std::error_code error;
    const std::filesystem::path full = std::filesystem::absolute(path, error);
    const std::filesystem::path identity = error ? full : std::filesystem::weakly_canonical(full, error);
    return error ? path : identity.string();
}

} // namespace

std::string behind_links(const std::string &path) {
    constexpr int most_links = 40; // as many as the system follows
    std::filesystem::path at = path;
    for (int i = 0; i < most_links; ++i) {
        std::error_code no_link;
        const std::filesystem::path next = std::filesystem::read_symlink(at, no_link);
        if (no_link)
            return canonical(at.string());
        at = at.parent_path() / next;
    }
    return path;
}

int make_hidden(const std::string &start, const std::string &end, std::string &path) {
    return make_new(start, end, 0600, path);
}

int make_hidden_beside(const std::string &target, std::string &path) {
    struct stat status {};
    const bool exists = stat(target.c_str(), &status) == 0;
    if (!exists && errno == ELOOP)
        return -1;
    const std::filesystem::path name = std::filesystem::path(target).filename();
    const std::string start = fmt::format(".{}.", name.string().substr(0, most_name_bytes));
    const std::string extension = name.extension().string();
    const bool short_enough = start.size() + extension.size() < most_name_bytes;
    const int descriptor =
        make_new((directory_of(target) / start).string(), short_enough ? extension : "", exists ? 0600 : 0666, path);
    if (descriptor >= 0 && exists) // a file system without permissions may refuse; the file is then for its owner alone
        fchmod(descriptor, status.st_mode & permissions);
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

void remember_unfinished(const std::string &path) {
    const std::lock_guard lock(changing);
    for (Place &place : places) {
        if (place.taken || path.size() >= sizeof place.path)
            continue;
        std::memcpy(place.path, path.c_str(), path.size() + 1);
        place.taken = true;
        return;
    }
}

void forget_unfinished(const std::string &path) {
    const std::lock_guard lock(changing);
    for (Place &place : places)
        if (place.taken && path == place.path)
            place.taken = false;
}

void remove_unfinished_files() noexcept {
    const int error = errno;
    for (const Place &place : places)
        if (place.taken)
            unlink(place.path);
    errno = error;
}

std::string file_identity(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0)
        return fmt::format("{}:{}", status.st_dev, status.st_ino);
    return behind_links(path);
}

bool is_same_file(const std::string &one, const std::string &other) {
    struct stat status {};
    const bool stream = stat(one.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    return !stream && file_identity(one) == file_identity(other);
}

} // namespace vor
