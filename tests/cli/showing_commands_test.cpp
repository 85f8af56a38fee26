// vordta describe, head and formats: what people read.
#include "collected_import.h"
#include "command_files.h"
#include "run_command.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace vor::test {
namespace {

using nlohmann::json;

const json visits_variables = json::parse(R"([
    {"name": "id", "type": "numeric", "length": 8, "format": "ID.", "label": "Person", "value_labels": [
        {"value": ".a", "text": "nobody"}, {"value": 1, "text": "Anna"}, {"value": 2, "text": "Bo, jr."}]},
    {"name": "day", "type": "numeric", "length": 8, "format": "MMDDYY10.", "label": "day"},
    {"name": "at", "type": "numeric", "length": 8, "format": "DATETIME16.", "label": "at"},
    {"name": "x", "type": "numeric", "length": 8, "format": "9.2", "label": "x"},
    {"name": "note", "type": "character", "length": 12, "format": "$12.", "label": "note"}])");

TEST(DescribeCommand, JsonOfFileAndDataSet) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const CommandResult of_file = run_command({"describe", file, "--json"});
    EXPECT_EQ(json::parse(of_file.out), (json{{"file", file},
                                              {"release", 118},
                                              {"byte_order", "little"},
                                              {"data_label", "Visits"},
                                              {"observations", 3},
                                              {"variables", visits_variables}}));
    const std::string library = scratch.path("l.db");
    ASSERT_EQ(run_command({"import", file, library}).status, 0);
    const json of_library = json::parse(run_command({"describe", library + ":visits", "--json"}).out);
    EXPECT_EQ(of_library.at("variables"), visits_variables);
    EXPECT_EQ(of_library.at("observations"), 3);
    EXPECT_EQ(of_library.at("data_label"), "Visits") << "the import keeps it";
    EXPECT_TRUE(of_library.at("release").is_null());
    EXPECT_EQ(json::parse(run_command({"describe", library, "--json"}).out), of_library) << "its only data set";
    ASSERT_EQ(run_command({"import", file, library + ":more"}).status, 0);
    const CommandResult several = run_command({"describe", library});
    EXPECT_EQ(several.status, 2);
    EXPECT_NE(several.err.find("more, visits"), std::string::npos) << several.err;
}

TEST(DescribeCommand, TextForPeople) {
    StataFile file{.release = 111, .order = ByteOrder::big, .data_label = "A \x1b[2J label"};
    file.variables = {{.name = "x", .type = Type::byte, .label = "tab\there", .value_label = "t"},
                      {.name = "a_name_of_length", .type = str(3)}};
    file.value_labels = {{"t", {}}};
    for (int value = 1; value <= 22; ++value) {
        file.value_labels[0].entries.push_back({value, "label " + std::to_string(value)});
    }
    const ScratchDirectory scratch;
    const std::string path = scratch.write("f.dta", build(file));
    const CommandResult result = run_command({"describe", path});
    EXPECT_TRUE(result.out.starts_with("File          " + path +
                                       "\n"
                                       "Release       111, most significant byte first\n"
                                       "Label         A \\x1b[2J label\n"
                                       "Observations  0\n"
                                       "Variables     2\n"
                                       "\n"
                                       "#  Name              Type       Length  Format  Label\n"
                                       "1  x                 numeric         8  X.      tab\\there\n"
                                       "2  a_name_of_length  character       3  $3.     a_name_of_length\n"
                                       "\n"
                                       "Value labels of x (X.)\n"
                                       "  Value  Label\n"
                                       "      1  label 1\n"))
        << result.out;
    EXPECT_TRUE(result.out.ends_with("     20  label 20\n  and 2 more; --json shows all.\n")) << result.out;
}

TEST(HeadCommand, Tables) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const struct {
        std::vector<std::string> options;
        const char *expected;
    } cases[] = {
        {{},
         "id         day                   at    x  note\n"
         " 1  2000-02-29  2000-02-29T12:34:56  0.1  caf\xC3\xA9, \"ok\"\n"
         " 2  1959-12-31  1959-12-31T23:59:59   -2  plain\n"
         ".a           .                    .   .z\n"},
        {{"-n", "1", "--labels", "both"},
         "id  id_label         day                   at    x  note\n"
         " 1  Anna      2000-02-29  2000-02-29T12:34:56  0.1  caf\xC3\xA9, \"ok\"\n"},
        {{"--limit", "1", "--labels", "text"},
         "id           day                   at    x  note\n"
         "Anna  2000-02-29  2000-02-29T12:34:56  0.1  caf\xC3\xA9, \"ok\"\n"},
        {{"-n", "0"}, "id  day  at  x  note\n"},
        {{"--keep", "x, id", "--rows", "2:"}, "id   x\n 2  -2\n.a  .z\n"},
        {{"--drop", "day,at", "--drop=note", "--rows", "2:3", "--limit", "1", "--labels", "text"},
         "id        x\nBo, jr.  -2\n"},
        {{"--keep=id", "--rows", "4:9"}, "id\n"},
    };
    const std::string library = scratch.path("l.db");
    ASSERT_EQ(run_command({"import", file, library}).status, 0);
    for (const std::string &source : {file, library, library + ":VISITS"}) {
        for (const auto &one : cases) {
            std::vector<std::string> arguments{"head", source};
            arguments.insert(arguments.end(), one.options.begin(), one.options.end());
            const CommandResult result = run_command(arguments);
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, one.expected) << source;
        }
    }
    EXPECT_EQ(run_command({"head", library, "--rows", "4:9"}).lines("NOTE: ").at(0),
              "NOTE: " + library + ":visits: there are 3 observations; --rows 4:9 takes none of them.");
}

TEST(HeadCommand, LongRunsAndWideCells) {
    StataFile file{.release = 118, .variables = {{.name = "x", .type = Type::int16}, {.name = "s", .type = str(90)}}};
    for (int i = 0; i < 2500; ++i) {
        file.rows.push_back({i, i == 0 ? std::string(90, 'w') : i == 1 ? "\xE6\x97\xA5\xE6\x9C\xAC\nx" : "s"});
    }
    const ScratchDirectory scratch;
    const CommandResult result = run_command({"head", scratch.write("f.dta", build(file)), "-n", "2400"});
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2401);
    EXPECT_NE(result.out.find("  " + std::string(39, 'w') + "\xE2\x80\xA6\n"), std::string::npos);
    EXPECT_NE(result.out.find("  \xE6\x97\xA5\xE6\x9C\xAC\\nx\n"), std::string::npos);
    EXPECT_TRUE(result.out.ends_with("\n2399  s\n"));
    const std::string file_path = scratch.path("f.dta");
    const struct {
        std::vector<std::string> options;
        int lines;
        const char *last;
    } ranges[] = {{{"--rows", "2301:"}, 11, "\n2309  s\n"}, // ten are enough when no end is named
                  {{"--rows", "2301:2500"}, 201, "\n2499  s\n"},
                  {{"--rows", ":12"}, 13, "\n11  s\n"},
                  {{"--rows", "2499:9999", "-n", "5"}, 3, "\n2499  s\n"}};
    for (const auto &range : ranges) {
        std::vector<std::string> arguments{"head", file_path};
        arguments.insert(arguments.end(), range.options.begin(), range.options.end());
        const CommandResult part = run_command(arguments);
        EXPECT_EQ(std::count(part.out.begin(), part.out.end(), '\n'), range.lines) << range.options[1];
        EXPECT_TRUE(part.out.ends_with(range.last)) << part.out;
    }
}

TEST(FormatsCommand, CatalogsAndFormats) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string library = scratch.path("l.db");
    ASSERT_EQ(run_command({"import", file, library}).status, 0);
    ASSERT_EQ(run_command({"import", file, library, "--fmtlib", "DEST.OLD"}).status, 0);
    const std::string list = "Catalog  Format  Type     Values  First label\n"
                             "FORMATS  ID      numeric       3  nobody\n";
    EXPECT_EQ(run_command({"formats", library}).out, list + "OLD      ID      numeric       3  nobody\n");
    EXPECT_EQ(run_command({"formats", library + ":formats"}).out, list);
    EXPECT_EQ(run_command({"formats", library, "id"}).out, "FORMATS.ID (numeric)\n\n"
                                                           "Value  Label\n"
                                                           "   .a  nobody\n"
                                                           "    1  Anna\n"
                                                           "    2  Bo, jr.\n");
    const json described = json::parse(run_command({"formats", library + ":OLD", "--json"}).out);
    EXPECT_EQ(described.at("catalogs").at(0).at("formats").at(0).at("value_labels"),
              visits_variables[0].at("value_labels"));
    EXPECT_EQ(run_command({"formats", library + ":none"}).status, 1);
    EXPECT_EQ(run_command({"formats", library, "none"}).status, 1);
}

} // namespace
} // namespace vor::test
