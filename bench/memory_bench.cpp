// Peak memory of whole runs of the command (VORDTA_COMMAND), for files of two lengths. The files are made by children,
// because a child's peak is never below what its parent holds.

#include "bench_file.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vor::bench {
namespace {

// Peak memory in MB of a child that does some work.
double peak_of_child(const std::function<void()> &work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (status != 0)
        throw std::runtime_error("a child failed");
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

double peak_memory(std::vector<std::string> arguments) {
    return peak_of_child([&] {
        std::vector<char *> words{std::getenv("VORDTA_COMMAND")};
        for (std::string &argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        execv(words[0], words.data());
        _exit(127);
    });
}

void memory(benchmark::State &state) {
    const std::string csv = scratch_directory() + "/memory.csv";
    const std::string library = scratch_directory() + "/memory.db";
    peak_of_child([&] { mixed_file(state.range(0)); });
    const std::string path = mixed_file(state.range(0));
    for (auto _ : state) {
        state.counters["import_csv_mb"] = peak_memory({"import", path, csv, "--quiet"});
        state.counters["import_library_mb"] = peak_memory({"import", path, library + ":t", "--quiet"});
        state.counters["export_csv_mb"] = peak_memory({"export", csv, scratch_directory() + "/1.dta", "--quiet"});
        state.counters["export_library_mb"] =
            peak_memory({"export", library + ":t", scratch_directory() + "/2.dta", "--quiet"});
    }
}
BENCHMARK(memory)->Arg(100000)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

void strl_memory(benchmark::State &state) {
    peak_of_child([] { strl_file(200000); });
    const std::string path = strl_file(200000);
    for (auto _ : state)
        state.counters["import_mb"] = peak_memory({"import", path, scratch_directory() + "/strls.csv", "--quiet"});
    state.counters["file_mb"] = static_cast<double>(std::filesystem::file_size(path)) / (1 << 20);
}
BENCHMARK(strl_memory)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vor::bench
