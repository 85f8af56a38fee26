#include "files/unfinished_files.h"

#include <vorhost/files.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits.h>
#include <mutex>
#include <unistd.h>

namespace vor {
namespace {

// A signal may come between any two steps, so a path stands in memory that stays and counts from its flag on.
struct Place {
    std::atomic<bool> taken = false;
    char path[PATH_MAX] = {};
};

std::array<Place, 16> places;
std::mutex changing;

static_assert(std::atomic<bool>::is_always_lock_free);

} // namespace

SignalsHeld::SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
}

SignalsHeld::~SignalsHeld() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
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

} // namespace vor
