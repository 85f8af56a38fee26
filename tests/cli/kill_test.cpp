// The command is killed or interrupted at random moments: what it was writing is there whole, as it was before or as it
// was to be.
#include "command_test.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <sqlite3.h>

namespace vor::test {
namespace {

using Microseconds = std::chrono::microseconds;

// Text enough that a library outgrows SQLite's memory and is written long before its transaction ends.
std::string long_file() {
    StataFile file{.release = 118};
    file.variables = {{.name = "n", .type = Type::int32, .value_label = "first"}, {.name = "text", .type = str(2000)}};
    for (int i = 1; i <= 1100; ++i)
        file.rows.push_back({i, std::string(2000, static_cast<char>('a' + i % 26))});
    file.value_labels = {{"first", {{1, "one"}}}};
    return build(file);
}

// What a client finds in a library.
std::string library_contents(const std::string &path) {
    sqlite3 *client = nullptr;
    sqlite3_open(path.c_str(), &client);
    std::string found;
    for (const char *query : {"PRAGMA integrity_check", "SELECT name, observations FROM vor_datasets",
                              "SELECT count(*), total(n) FROM t", "SELECT count(*), total(length(text)) FROM t",
                              "SELECT * FROM kept", "SELECT name FROM vor_formats", "SELECT name FROM sqlite_master"}) {
        const auto append = [](void *text, int columns, char **values, char **) {
            for (int i = 0; i < columns; ++i)
                *static_cast<std::string *>(text) += std::string(values[i] ? values[i] : "NULL") + " ";
            return 0;
        };
        char *message = nullptr;
        sqlite3_exec(client, query, append, &found, &message);
        found += message ? message : "|";
        sqlite3_free(message);
    }
    sqlite3_close(client);
    return found;
}

struct KillCase {
    const char *line;
    std::string target;
    std::string before; // the file that is there at the start; empty: none
};
const KillCase cases[] = {
    {"import long.dta o.csv", "o.csv", "short.dta"}, {"import long.dta o.db:t", "o.db", "old.db"},
    {"import long.dta n.db:t", "n.db", ""},          {"export long.db:t o.dta", "o.dta", "short.dta"},
    {"export long.csv n.dta", "n.dta", ""},
};

class Kill : public CommandTest {
  protected:
    Kill() {
        scratch.write("short.dta", build({.variables = {{.name = "n"}}, .rows = {{1}, {2}}}));
        scratch.write("long.dta", long_file());
        for (const char *line : {"import short.dta old.db:t", "import short.dta old.db:kept",
                                 "import long.dta long.db:t", "import long.dta long.csv"})
            output_of(line);
        sources_ = scratch.names();
    }

    // Empty when there is no such file.
    std::string contents(const std::string &name) const {
        const std::string path = scratch.path(name);
        if (!std::filesystem::exists(path))
            return {};
        return name.ends_with(".db") ? library_contents(path) : file_bytes(path);
    }

    void put_back(const KillCase &one) const {
        std::filesystem::remove(scratch.path(one.target));
        if (!one.before.empty())
            std::filesystem::copy_file(scratch.path(one.before), scratch.path(one.target));
    }

    // The shortest of three runs, so that most moments within it come before the end of any run.
    Microseconds duration(const KillCase &one) const {
        auto shortest = Microseconds::max();
        for (int i = 0; i < 3; ++i) {
            put_back(one);
            const auto start = std::chrono::steady_clock::now();
            output_of(one.line);
            const auto taken = std::chrono::steady_clock::now() - start;
            shortest = std::min(shortest, std::chrono::duration_cast<Microseconds>(taken));
        }
        return shortest;
    }

    // Removes what SIGKILL may leave, a library's journal and hidden files; fails for anything else that is new.
    void clear(const KillCase &one, int signal) const {
        for (const std::string &name : scratch.names()) {
            const bool hidden = name.starts_with("." + one.target + ".");
            if (signal == SIGKILL && (name == one.target + "-journal" || hidden))
                std::filesystem::remove(scratch.path(name));
            else if (name != one.target && !std::ranges::binary_search(sources_, name))
                ADD_FAILURE() << name << " was left behind";
        }
    }

    void expect_old_or_new(const KillCase &one, int signal, int times) const {
        SCOPED_TRACE(one.line);
        const Microseconds whole = duration(one);
        const std::string after = contents(one.target);
        put_back(one);
        const std::string before = contents(one.target);
        ASSERT_NE(before, after);
        const auto seed = std::random_device{}();
        std::mt19937 random(seed);
        int in_time = 0;
        for (int i = 0; i < times; ++i) {
            const double part = (i + std::uniform_real_distribution(0.0, 1.0)(random)) / times;
            const auto moment = std::chrono::duration_cast<Microseconds>(whole * part);
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", kill " << i << " after " << moment.count()
                                            << " of " << whole.count() << " microseconds");
            put_back(one);
            in_time += run(one.line, {.signal = signal, .signal_after = moment}).status == 128 + signal;
            const std::string found = contents(one.target);
            EXPECT_TRUE(found == before || found == after) << found.size() << " bytes: " << found.substr(0, 300);
            clear(one, signal);
        }
        EXPECT_GE(in_time, times / 5) << "too few runs were killed before their end";
        output_of(one.line);
        EXPECT_EQ(contents(one.target), after) << "the next run after a kill";
        clear(one, signal);
        std::filesystem::remove(scratch.path(one.target));
    }

  private:
    Words sources_;
};

TEST_F(Kill, LeavesTheOldOrTheNew) {
    for (const KillCase &one : cases)
        expect_old_or_new(one, SIGKILL, 50);
}

TEST_F(Kill, InterruptionLeavesNothingElse) {
    constexpr int signals[] = {
        SIGINT, SIGTERM,
#ifndef __SANITIZE_ADDRESS__ // which takes this one for itself
        SIGSEGV,             // also ends a run whose stack is full
#endif
    };
    size_t next = 0;
    for (const KillCase &one : cases)
        expect_old_or_new(one, signals[next++ % std::size(signals)], 10);
}

} // namespace
} // namespace vor::test
