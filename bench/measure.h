// A task beside its physical limit: both run in turn, and the ratio of their times is reported.
#pragma once

#include <benchmark/benchmark.h>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace vor::bench {

inline double seconds_of(const std::function<void()> &work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Counters: limit_s and task_s of the fastest runs, and their ratio.
inline void compare(benchmark::State &state, const std::function<void()> &limit, const std::function<void()> &task) {
    double best_limit = 1e9;
    double best_task = 1e9;
    for (auto _ : state) {
        best_limit = std::min(best_limit, seconds_of(limit));
        const double seconds = seconds_of(task);
        best_task = std::min(best_task, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["limit_s"] = best_limit;
    state.counters["task_s"] = best_task;
    state.counters["ratio"] = best_task / best_limit;
}

inline constexpr size_t piece_bytes = 64000;

// Reads a file from front to back in pieces.
inline void plain_read(const std::string &path) {
    std::vector<char> piece(piece_bytes);
    const int file = open(path.c_str(), O_RDONLY);
    while (read(file, piece.data(), piece.size()) > 0)
        benchmark::DoNotOptimize(piece.data());
    close(file);
}

// Reads a file into memory, as a task must that keeps all of it.
inline void read_whole(const std::string &path) {
    const int file = open(path.c_str(), O_RDONLY);
    std::vector<char> bytes(static_cast<size_t>(lseek(file, 0, SEEK_END)));
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t got = pread(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (got <= 0)
            break;
        done += static_cast<size_t>(got);
    }
    benchmark::DoNotOptimize(bytes.data());
    close(file);
}

} // namespace vor::bench
