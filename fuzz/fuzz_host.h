// What the fuzz targets share beside the host in memory: the check that nothing is left of a conversion.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <memory_host.h>
#include <string>

namespace vor::fuzz {

// The module stays loaded between the inputs: the fuzzer keeps pointers to its counters.
inline void *const kept_module = dlopen(std::getenv("VORDTA_MODULE"), RTLD_NOW | RTLD_LOCAL);

inline void require(bool holds, const char *what) {
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

// Nothing may be left of a conversion that has ended, whatever its input was.
inline void require_nothing_left(const test::HostResources &host) {
    require(host.memory.blocks() == 0, "every block of the module is freed");
    require(host.files.open_files() == 0, "every file is closed");
}

} // namespace vor::fuzz
