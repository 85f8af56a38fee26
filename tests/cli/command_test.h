// What tests of the command share: a directory with a small Stata file, in which they run it as people would.
#pragma once

#include "collected_import.h"
#include "run_command.h"
#include "stata_file_builder.h"

#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace vor::test {

using Words = std::vector<std::string>;

// Two observations and one of missing values: a labelled variable (with a labelled missing value), a date, a
// date-time, a fraction and a text that needs quotes. Small enough that every byte of what becomes of it can be written
// down.
inline std::string visits_file() {
    StataFile file{.release = 118, .data_label = "Visits"};
    file.variables = {{.name = "id", .type = Type::byte, .format = "%8.0g", .label = "Person", .value_label = "who"},
                      {.name = "day", .type = Type::int16, .format = "%td"},
                      {.name = "at", .type = Type::float64, .format = "%tc"},
                      {.name = "x", .type = Type::float64, .format = "%9.2f"},
                      {.name = "note", .type = str(12), .format = "%12s"}};
    file.rows = {{1, 14669, 1267446896000.0, 0.1, "caf\xC3\xA9, \"ok\""},
                 {2, -1, -1000, -2, "plain"},
                 {missing('a'), missing(), missing(), missing('z'), ""}};
    file.value_labels = {{"who", {{1, "Anna"}, {2, "Bo, jr."}, {missing('a'), "nobody"}}}};
    return build(file);
}

inline constexpr const char *visits_csv = "id,day,at,x,note\n"
                                          "1,2000-02-29,2000-02-29T12:34:56,0.1,\"caf\xC3\xA9, \"\"ok\"\"\"\n"
                                          "2,1959-12-31,1959-12-31T23:59:59,-2,plain\n"
                                          ".a,,,.z,\n";

class CommandTest : public ::testing::Test {
  protected:
    CommandTest() {
        scratch.write("visits.dta", visits_file());
        scratch.write("damaged.dta", visits_file().substr(0, visits_file().find("</data>") - 1));
    }

    // The words of a line; one that holds blanks stands between single quotes.
    CommandResult run(const std::string &line, CommandStreams streams = {}) const {
        Words words;
        std::istringstream text(line);
        for (std::string word; text >> std::quoted(word, '\'');)
            words.push_back(word);
        streams.directory = scratch.path("");
        return run_command(words, streams);
    }

    // Standard output of a run that goes well.
    std::string output_of(const std::string &line, const CommandStreams &streams = {}) const {
        const CommandResult result = run(line, streams);
        EXPECT_EQ(result.status, 0) << line << '\n' << result.err;
        EXPECT_TRUE(result.lines("ERROR: ").empty()) << line << '\n' << result.err;
        return result.out;
    }

    // The run ends with the status and one ERROR line that has the part in it, and leaves no file behind.
    void expect_failure(const std::string &line, int status, const std::string &part,
                        const CommandStreams &streams = {}) const {
        const Words names = scratch.names();
        const CommandResult result = run(line, streams);
        const Words errors = result.lines("ERROR: ");
        EXPECT_EQ(result.status, status) << line << '\n' << result.err;
        EXPECT_EQ(errors.size(), 1U) << line << '\n' << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << line << '\n' << result.err;
        EXPECT_EQ(scratch.names(), names) << line;
    }

    std::string bytes(const std::string &name) const { return file_bytes(scratch.path(name)); }
    CollectedImport imported(const std::string &name) const { return sound_import(scratch.path(name)); }

    const ScratchDirectory scratch;
};

} // namespace vor::test
