// What does not grow with the observations: describing a file, long strings and value labels before the first row, and
// the memory of whole runs of the command.

#include "bench_file.h"
#include "measure.h"

#include <vorhost/conversion.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vor::bench {
namespace {

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
        state, [&] { read_whole(path); },
        [&] {
            ImportSession session({}, {}, path);
            size_t total = 0;
            for (Batch batch; session.next(batch, 1024);)
                total += batch.columns[0].values.size();
            benchmark::DoNotOptimize(total);
            session.close();
        });
    state.counters["file_mb"] = static_cast<double>(std::filesystem::file_size(path)) / (1 << 20);
}
BENCHMARK(strls)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// Beside the same entries in a map for each table.
void value_labels(benchmark::State &state) {
    const std::string path = labelled_file(static_cast<int>(state.range(0)));
    const DataSet described = ImportSession({}, {}, path).description();
    compare(
        state,
        [&] {
            std::vector<std::map<double, std::string>> tables;
            for (const UserFormat &table : described.label_tables) {
                std::map<double, std::string> &made = tables.emplace_back();
                for (const FormatRange &range : table.ranges)
                    made.emplace(std::get<double>(range.start), range.labels.front());
            }
            benchmark::DoNotOptimize(tables.data());
        },
        [&] { ImportSession session({}, {}, path); });
    state.counters["us_per_table"] = state.counters["task_s"] * 1e6 / static_cast<double>(state.range(0));
}
BENCHMARK(value_labels)->Arg(500)->Arg(5000)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vor::bench
