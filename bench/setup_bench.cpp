// What does not grow with the observations: describing a file, long strings and value labels before the first row, and
// the memory of whole runs of the command.

#include "bench_file.h"
#include "measure.h"

#include <vorhost/conversion.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vor::bench {
namespace {

// Runs the command that VORDTA_COMMAND names; its peak memory in MB.
double peak_memory(const std::vector<std::string> &arguments) {
    std::vector<char *> words{std::getenv("VORDTA_COMMAND")};
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        execv(words[0], words.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (status != 0)
        throw std::runtime_error("the command failed");
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

void describe(benchmark::State &state) {
    const std::string small = mixed_file(1000);
    const std::string large = mixed_file(1000000);
    const auto open = [](const std::string &path) { ImportSession session({}, {}, path); };
    compare(
        state, [&] { open(small); }, [&] { open(large); });
}
BENCHMARK(describe)->Iterations(20)->UseManualTime()->Unit(benchmark::kMicrosecond);

void strls(benchmark::State &state) {
    const std::string path = strl_file(200000);
    compare(
        state, [&] { plain_read(path); },
        [&] {
            ImportSession session({}, {}, path);
            size_t total = 0;
            while (session.next())
                total += session.row().text(0).size();
            benchmark::DoNotOptimize(total);
            session.close();
        });
    state.counters["file_mb"] = static_cast<double>(std::filesystem::file_size(path)) / (1 << 20);
    state.counters["peak_mb"] = peak_memory({"import", path, scratch_directory() + "/strls.csv", "--quiet"});
}
BENCHMARK(strls)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

void value_labels(benchmark::State &state) {
    size_t table_bytes = 0;
    const std::string path = labelled_file(static_cast<int>(state.range(0)), &table_bytes);
    compare(
        state, [&] { plain_read(path); }, [&] { ImportSession session({}, {}, path); });
    state.counters["us_per_table"] = state.counters["task_s"] * 1e6 / static_cast<double>(state.range(0));
}
BENCHMARK(value_labels)->Arg(500)->Arg(5000)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

void memory(benchmark::State &state) {
    const std::string path = mixed_file(state.range(0));
    const std::string csv = scratch_directory() + "/memory.csv";
    for (auto _ : state) {
        state.counters["import_csv_mb"] = peak_memory({"import", path, csv, "--quiet"});
        state.counters["import_library_mb"] =
            peak_memory({"import", path, scratch_directory() + "/memory.db", "--quiet"});
        state.counters["export_csv_mb"] = peak_memory({"export", csv, scratch_directory() + "/memory.dta", "--quiet"});
    }
}
BENCHMARK(memory)->Arg(100000)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vor::bench
