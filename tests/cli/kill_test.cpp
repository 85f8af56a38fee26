// The command is killed or interrupted at random moments: what it was writing is there whole, as it was before or as it
// was to be.
#include "collected_import.h"
#include "run_command.h"
#include "stata_file_builder.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sqlite3.h>

namespace vor::test {
namespace {

using Words = std::vector<std::string>;
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

std::string short_file() {
    return build({.variables = {{.name = "n"}}, .rows = {{1}, {2}}});
}

// What a client finds in a library; empty when there is none.
std::string library_contents(const std::string &path) {
    if (!std::filesystem::exists(path))
        return {};
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

std::string contents(const std::string &path) {
    if (path.ends_with(".db"))
        return library_contents(path);
    return std::filesystem::exists(path) ? file_bytes(path) : std::string();
}

struct KillCase {
    const char *name;
    Words arguments;    // behind the command
    std::string target; // its path stands among the arguments
    std::string before; // the file that is there at the start; empty: none
};

class Kill : public ::testing::Test {
  protected:
    Kill() {
        scratch_.write("short.dta", short_file());
        scratch_.write("long.dta", long_file());
        run({"import", path("short.dta"), path("old.db:t")});
        run({"import", path("short.dta"), path("old.db:kept")});
        run({"import", path("long.dta"), path("long.db:t")});
        run({"import", path("long.dta"), path("long.csv")});
    }

    std::string path(const std::string &name) const { return scratch_.path(name); }

    static void run(const Words &arguments) {
        const CommandResult result = run_command(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
    }

    void put_back(const KillCase &one) const {
        std::filesystem::remove(one.target);
        std::filesystem::remove(one.target + "-journal");
        if (!one.before.empty())
            std::filesystem::copy_file(one.before, one.target);
    }

    // The shortest of three runs, so that most moments within it come before the end of any run.
    Microseconds duration(const KillCase &one) const {
        auto shortest = Microseconds::max();
        for (int i = 0; i < 3; ++i) {
            put_back(one);
            const auto start = std::chrono::steady_clock::now();
            run(one.arguments);
            const auto taken = std::chrono::steady_clock::now() - start;
            shortest = std::min(shortest, std::chrono::duration_cast<Microseconds>(taken));
        }
        return shortest;
    }

    // Removes what may be left, a library's journal and after SIGKILL hidden files; fails for anything else that is
    // new.
    void clear(const KillCase &one, int signal, const Words &names) const {
        const std::string target = std::filesystem::path(one.target).filename();
        for (const std::string &name : scratch_.names()) {
            const bool hidden = name.starts_with("." + target + ".");
            if (name == target + "-journal" || (signal == SIGKILL && hidden))
                std::filesystem::remove(path(name));
            else if (name != target && std::find(names.begin(), names.end(), name) == names.end())
                ADD_FAILURE() << name << " was left behind";
        }
    }

    void expect_old_or_new(const KillCase &one, int signal, int times) {
        SCOPED_TRACE(one.name);
        std::filesystem::remove(one.target);
        const Words names = scratch_.names();
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
            const int status = run_command(one.arguments, {.signal = signal, .signal_after = moment}).status;
            in_time += status == 128 + signal;
            const std::string found = contents(one.target);
            EXPECT_TRUE(found == before || found == after) << found.size() << " bytes: " << found.substr(0, 300);
            clear(one, signal, names);
        }
        EXPECT_GE(in_time, times / 5) << "too few runs were killed before their end";
        run(one.arguments);
        EXPECT_EQ(contents(one.target), after) << "the next run after a kill";
        clear(one, signal, names);
    }

    std::vector<KillCase> cases() const {
        return {
            {"a CSV file is replaced", {"import", path("long.dta"), path("o.csv")}, path("o.csv"), path("short.dta")},
            {"a data set is replaced", {"import", path("long.dta"), path("o.db:t")}, path("o.db"), path("old.db")},
            {"a new library", {"import", path("long.dta"), path("n.db:t")}, path("n.db"), ""},
            {"a Stata file is replaced",
             {"export", path("long.db:t"), path("o.dta")},
             path("o.dta"),
             path("short.dta")},
            {"a new Stata file", {"export", path("long.csv"), path("n.dta")}, path("n.dta"), ""},
        };
    }

    ScratchDirectory scratch_;
};

TEST_F(Kill, LeavesTheOldOrTheNew) {
    for (const KillCase &one : cases())
        expect_old_or_new(one, SIGKILL, one.before.empty() ? 20 : 50);
}

TEST_F(Kill, InterruptionLeavesNothingElse) {
    int signal = SIGINT;
    for (const KillCase &one : cases()) {
        expect_old_or_new(one, signal, 10);
        signal = signal == SIGINT ? SIGTERM : SIGINT;
    }
}

} // namespace
} // namespace vor::test
