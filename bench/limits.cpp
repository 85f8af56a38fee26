// What the command (VORDTA_COMMAND) does with the largest files: times and peak memory as rows of a table, those of
// docs/limits.md. The files stand in the temporary directory (TMPDIR) while the program runs.
//
//     limits [SECTION...]     rows118 rows115 variables datasets labels; all of them unless some are named

#include "bench_file.h"
#include "measure.h"
#include "stata_file_builder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>

namespace vor::bench {
namespace {

using Words = std::vector<std::string>;

struct Finished {
    double seconds;
    double processor_seconds; // of them, those of the command itself
    double peak_mb;
    std::string last_line; // of standard output
};

// Keeps the last line of what comes, and nothing else.
std::string last_line_from(int descriptor) {
    std::string tail;
    std::vector<char> piece(1 << 16);
    for (ssize_t got = 0; (got = read(descriptor, piece.data(), piece.size())) > 0;) {
        tail.append(piece.data(), static_cast<size_t>(got));
        if (const size_t line = tail.rfind('\n', tail.size() - 2); line != std::string::npos)
            tail.erase(0, line + 1);
    }
    return tail.substr(0, tail.find('\n'));
}

Finished run(Words words) {
    std::vector<char *> pointers{std::getenv("VORDTA_COMMAND")};
    for (std::string &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    Finished finished{};
    rusage usage{};
    int status = 0;
    finished.seconds = seconds_of([&] {
        const pid_t child = fork();
        if (child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        close(ends[1]);
        finished.last_line = last_line_from(ends[0]);
        wait4(child, &status, 0, &usage);
    });
    close(ends[0]);
    if (status != 0)
        throw std::runtime_error("vordta " + words[0] + " " + words[1] + " failed");
    finished.processor_seconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                                 static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    finished.peak_mb = static_cast<double>(usage.ru_maxrss) / 1024;
    return finished;
}

void print(const std::string &what, const std::string &command, const Finished &finished) {
    std::printf("| %s | `%s` | %.2f s | %.2f s | %.0f MB |\n", what.c_str(), command.c_str(), finished.seconds,
                finished.processor_seconds, finished.peak_mb);
    std::fflush(stdout);
}

// Runs a command on files in the temporary directory and prints its row.
Finished measure(const std::string &what, const Words &words) {
    std::string command = "vordta";
    Words all = words;
    all.push_back("--quiet");
    for (std::string &word : all) {
        command += " " + word;
        if (word.find(".d") != std::string::npos || word.find(".csv") != std::string::npos)
            word = scratch_directory() + "/" + word;
    }
    const Finished finished = run(all);
    print(what, command.substr(0, command.rfind(' ')), finished);
    return finished;
}

void remove(const std::string &name) {
    std::filesystem::remove(scratch_directory() + "/" + name);
}

// A child's peak memory is never below what its parent holds, so the files are made by children.
std::string made_by_child(const std::string &name, const std::function<std::string()> &make) {
    const std::string path = scratch_directory() + "/" + name;
    const pid_t child = fork();
    if (child == 0) {
        try {
            std::filesystem::rename(make(), path);
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        throw std::runtime_error(name + " was not made");
    const double megabytes = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
    char size[32];
    std::snprintf(size, sizeof size, "%.1f MB", megabytes);
    return size;
}

void expect(const std::string &found, const std::string &expected) {
    if (found != expected)
        throw std::runtime_error("the last line is " + found + ", not " + expected);
}

void measure_rows(int release) {
    constexpr int64_t observations = 42000001; // odd, so that CSV has all its digits
    const std::string size = made_by_child("rows.dta", [=] { return counted_file(release, observations); });
    const std::string what = "release " + std::to_string(release) + ", 42 million observations, " + size;
    measure(what, {"describe", "rows.dta"});
    expect(measure(what, {"import", "rows.dta", "-", "--limit", "10"}).last_line, counted_line(10));
    expect(measure(what, {"import", "rows.dta", "-"}).last_line, counted_line(observations));
    if (release >= 118) {
        measure(what, {"import", "rows.dta", "rows.db"});
        remove("rows.dta");
        measure("the library", {"describe", "rows.db"});
        measure("the library", {"export", "rows.db:rows", "back.dta"});
        remove("rows.db");
        expect(measure("the file exported", {"import", "back.dta", "-"}).last_line, counted_line(observations));
        remove("back.dta");
        return;
    }
    remove("rows.dta");
}

void measure_variables() {
    const std::string size = made_by_child("wide.dta", [] { return wide_file(60000, 100); });
    const std::string what = "60,000 variables, 100 observations, " + size;
    measure(what, {"describe", "wide.dta"});
    measure(what, {"import", "wide.dta", "wide.csv"});
    measure(what, {"import", "wide.dta", "wide.db"});
    measure("the library", {"describe", "wide.db"});
    measure("the library", {"export", "wide.db:wide", "back.dta"});
    measure("the CSV file", {"export", "wide.csv", "back.dta"});
}

void measure_datasets() {
    std::ofstream(scratch_directory() + "/small.dta", std::ios::binary)
        << test::build({.variables = {{.name = "x", .type = test::Type::byte, .value_label = "l"}},
                        .rows = {{1}, {2}},
                        .value_labels = {{"l", {{1, "one"}, {2, "two"}}}}});
    const std::string path = scratch_directory() + "/small.dta";
    const std::string library = scratch_directory() + "/sets.db:d";
    for (int i = 1; i <= 1000; ++i) {
        const Finished finished = run({"import", path, library + std::to_string(i), "--quiet"});
        if (i == 1 || i == 500 || i == 1000)
            print("data set " + std::to_string(i) + " of a library", "vordta import small.dta sets.db:NAME", finished);
    }
    measure("1000 data sets", {"describe", "sets.db:d1000"});
    measure("1000 data sets", {"formats", "sets.db"});
}

void measure_labels() {
    for (const char *stem : {"v", "question_"}) {
        made_by_child("labels.dta", [=] { return labelled_file(4087, stem); });
        const std::string what = "4087 labelled variables " + std::string(stem) + "1 to " + stem + "4087";
        measure(what, {"describe", "labels.dta"});
        measure(what, {"import", "labels.dta", "labels.db"});
        measure("the library", {"formats", "labels.db"});
        measure("the library", {"export", "labels.db:labels", "back.dta"});
        remove("labels.db");
    }
}

const struct {
    std::string name;
    std::function<void()> measure;
} sections[] = {
    {"rows118", [] { measure_rows(118); }},
    {"rows115", [] { measure_rows(115); }},
    {"variables", measure_variables},
    {"datasets", measure_datasets},
    {"labels", measure_labels},
};

} // namespace
} // namespace vor::bench

int main(int count, char **arguments) {
    const std::vector<std::string> wanted(arguments + 1, arguments + count);
    try {
        for (const auto &section : vor::bench::sections)
            if (wanted.empty() || std::find(wanted.begin(), wanted.end(), section.name) != wanted.end())
                section.measure();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "limits: %s\n", error.what());
        return 1;
    }
    return 0;
}
