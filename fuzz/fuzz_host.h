// What the fuzz targets share: files, memory and log of one conversion, and the check that nothing is left of it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <memory_host.h>
#include <string>

namespace vor::fuzz {

// The module stays loaded between the inputs: the fuzzer keeps pointers to its counters.
inline void *const kept_module = dlopen(std::getenv("VORDTA_MODULE"), RTLD_NOW | RTLD_LOCAL);

struct SilentLog : Log {
    void line(Severity, std::string_view) override {}
};

struct FuzzHost {
    test::Faults faults;
    test::CountingMemory memory{faults};
    test::MemoryFiles files{faults};
    SilentLog log;

    HostOptions options() {
        HostOptions host;
        host.files = &files;
        host.memory = &memory;
        host.log = &log;
        return host;
    }
};

inline void require(bool holds, const char *what) {
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

// Nothing may be left of a conversion that has ended, whatever its input was.
inline void require_nothing_left(const FuzzHost &host) {
    require(host.memory.blocks() == 0, "every block of the module is freed");
    require(host.files.open_files() == 0, "every file is closed");
}

} // namespace vor::fuzz
