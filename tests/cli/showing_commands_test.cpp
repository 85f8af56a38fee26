// vordta describe, head and formats: what people read.
#include "command_test.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sys/resource.h>

namespace vor::test {
namespace {

using nlohmann::json;

using DescribeCommand = CommandTest;
using HeadCommand = CommandTest;
using FormatsCommand = CommandTest;

// Under the base contract.
const json visits_variables = [] {
    json variables = json::parse(R"([
    {"name": "id", "type": "numeric", "length": 8, "format": "ID.", "label": "Person", "value_labels": [
        {"value": ".a", "text": "nobody"}, {"value": 1, "text": "Anna"}, {"value": 2, "text": "Bo, jr."}]},
    {"name": "day", "type": "numeric", "length": 8, "format": "MMDDYY10.", "label": "day"},
    {"name": "at", "type": "numeric", "length": 8, "format": "DATETIME16.", "label": "at"},
    {"name": "x", "type": "numeric", "length": 8, "format": "9.2", "label": "x"},
    {"name": "note", "type": "character", "length": 12, "format": "$12.", "label": "note"}])");
    for (json &variable : variables)
        variable.update({{"stored_type", ""}, {"stata_format", ""}, {"label_table", ""}});
    return variables;
}();

TEST_F(DescribeCommand, JsonOfFileAndDataSet) {
    EXPECT_EQ(json::parse(output_of("describe visits.dta --json --contract base")),
              (json{{"file", "visits.dta"},
                    {"release", 118},
                    {"byte_order", "little"},
                    {"data_label", "Visits"},
                    {"timestamp", ""},
                    {"sort", json::array()},
                    {"characteristics", json::array()},
                    {"observations", 3},
                    {"variables", visits_variables}}));
    output_of("import visits.dta l.db");
    const json of_library = json::parse(output_of("describe l.db:visits --json"));
    EXPECT_EQ(of_library.at("variables"), json::parse(output_of("describe visits.dta --json")).at("variables"));
    EXPECT_EQ(of_library.at("variables").at(0),
              json::parse(R"({"name": "id", "type": "numeric", "length": 8, "format": "who.", "label": "Person",
                  "stored_type": "byte", "stata_format": "%8.0g", "label_table": "who", "value_labels": [
                  {"value": ".a", "text": "nobody"}, {"value": 1, "text": "Anna"}, {"value": 2, "text": "Bo, jr."}]})"));
    EXPECT_EQ(of_library.at("observations"), 3);
    EXPECT_EQ(of_library.at("data_label"), "Visits") << "the import keeps it";
    EXPECT_TRUE(of_library.at("release").is_null());
    EXPECT_EQ(json::parse(output_of("describe l.db --json")), of_library) << "its only data set";
    EXPECT_EQ(json::parse(output_of("describe visits.dta l.db --json")).at(1), of_library);
    EXPECT_EQ(output_of("describe visits.dta l.db"),
              output_of("describe visits.dta") + "\n" + output_of("describe l.db"));
}

TEST_F(DescribeCommand, TextForPeople) {
    StataFile file{.release = 111, .order = ByteOrder::big, .data_label = "A \x1b[2J label"};
    file.variables = {{.name = "x", .type = Type::byte, .label = "tab\there", .value_label = "t"},
                      {.name = "a_name_of_length", .type = str(3)}};
    file.value_labels = {{"t", {}}};
    for (int value = 1; value <= 22; ++value) {
        file.value_labels[0].entries.push_back({value, "label " + std::to_string(value)});
    }
    scratch.write("f.dta", build(file));
    const std::string text = output_of("describe f.dta");
    EXPECT_TRUE(text.starts_with("File          f.dta\n"
                                 "Release       111, most significant byte first\n"
                                 "Label         A \\x1b[2J label\n"
                                 "Observations  0\n"
                                 "Variables     2\n"
                                 "\n"
                                 "#  Name              Type       Length  Format  Label\n"
                                 "1  x                 numeric         8  t.      tab\\there\n"
                                 "2  a_name_of_length  character       3  $3.\n"
                                 "\n"
                                 "Value labels of x (t)\n"
                                 "  Value  Label\n"
                                 "      1  label 1\n"))
        << text;
    EXPECT_TRUE(text.ends_with("     20  label 20\n  and 2 more; --json shows all.\n")) << text;
}

TEST_F(HeadCommand, Tables) {
    const struct {
        std::string options;
        const char *expected;
    } cases[] = {
        {"", "id         day                   at    x  note\n"
             " 1  2000-02-29  2000-02-29T12:34:56  0.1  caf\xC3\xA9, \"ok\"\n"
             " 2  1959-12-31  1959-12-31T23:59:59   -2  plain\n"
             ".a           .                    .   .z\n"},
        {"-n 1 --labels both --drop note",
         "id  id_label         day                   at    x\n 1  Anna      2000-02-29  2000-02-29T12:34:56  0.1\n"},
        {"-n 0", "id  day  at  x  note\n"},
        {"--keep 'x, id' --rows 2:", "id   x\n 2  -2\n.a  .z\n"},
        {"--drop day,at --drop=note --rows 2:3 --limit 1 --labels text", "id        x\nBo, jr.  -2\n"},
        {"--keep=id --rows 4:9", "id\n"},
        {"--keep '[ix]*,n?te' --limit 1", "id    x  note\n 1  0.1  caf\xC3\xA9, \"ok\"\n"},
        {"--keep day-x -n 0", "day  at  x\n"},
        {"--drop at-day,note --limit 1", "id    x\n 1  0.1\n"},
    };
    output_of("import visits.dta l.db");
    for (const std::string source : {"visits.dta ", "l.db ", "l.db:VISITS "})
        for (const auto &one : cases)
            EXPECT_EQ(output_of("head " + source + one.options), one.expected) << source;
    EXPECT_EQ(run("head l.db --rows 4:9").lines("NOTE: ").at(0),
              "NOTE: l.db:visits: of 3 observations --rows 4:9 takes none.");
}

TEST_F(HeadCommand, LongRuns) {
    StataFile file{.release = 118, .variables = {{.name = "x", .type = Type::int16}}};
    for (int i = 0; i < 2500; ++i)
        file.rows.push_back({i});
    scratch.write("f.dta", build(file));
    const struct {
        std::string options;
        int lines;
        const char *last;
    } cases[] = {{"-n 2400", 2401, "\n2399\n"},    // several blocks of rows
                 {"--rows 2301:", 11, "\n2309\n"}, // ten are enough when no end is named
                 {"--rows 2301:2500", 201, "\n2499\n"},
                 {"--rows :12", 13, "\n11\n"},
                 {"--rows 2499:9999 -n 5", 3, "\n2499\n"}};
    for (const auto &one : cases) {
        const std::string table = output_of("head f.dta " + one.options);
        EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), one.lines) << one.options;
        EXPECT_TRUE(table.ends_with(one.last)) << table;
    }
}

TEST_F(HeadCommand, WideTables) {
    StataFile file;
    for (int i = 0; i < 3000; ++i)
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte});
    file.variables.push_back({.name = "a-b", .type = Type::byte});
    file.variables.push_back({.name = "a,b", .type = Type::byte});
    file.rows = {Row(3002, Cell(1))};
    scratch.write("wide.dta", build(file));
    const CommandResult result = run("head wide.dta");
    EXPECT_LT(result.out.size(), 2002U);
    EXPECT_EQ(result.lines("NOTE: ").size(), 1U) << result.err;
    EXPECT_TRUE(output_of("head wide.dta --all").ends_with("1    1    1\n"));
    EXPECT_EQ(output_of("head wide.dta --keep '\"a,b\",a-b,v1-v3,v299[0-1]' -n 0"),
              "v1  v2  v3  v2990  v2991  a-b  a,b\n");
}

TEST_F(HeadCommand, WideCells) {
    const StataFile file{.variables = {{.name = "s", .type = str(90)}},
                         .rows = {{std::string(90, 'w')}, {"\xE6\x97\xA5\xE6\x9C\xAC\nx"}}};
    scratch.write("f.dta", build(file));
    EXPECT_EQ(output_of("head f.dta"), "s\n" + std::string(39, 'w') + "\xE2\x80\xA6\n\xE6\x97\xA5\xE6\x9C\xAC\\nx\n");
}

TEST_F(FormatsCommand, CatalogsAndFormats) {
    output_of("import visits.dta l.db:FORMATS"); // whose labels are its own
    output_of("import visits.dta l.db --fmtlib DEST.OLD");
    const std::string list = "Catalog  Format  Type     Values  First label\n"
                             "FORMATS  who     numeric       3  nobody\n";
    EXPECT_EQ(output_of("formats l.db"), list + "OLD      who     numeric       3  nobody\n");
    EXPECT_EQ(output_of("formats l.db:formats"), list);
    EXPECT_EQ(output_of("formats l.db who"), "FORMATS.who (numeric)\n\n"
                                             "Value  Label\n"
                                             "   .a  nobody\n"
                                             "    1  Anna\n"
                                             "    2  Bo, jr.\n");
    const json described = json::parse(output_of("formats l.db:OLD --json"));
    EXPECT_EQ(described.at("catalogs").at(0).at("formats").at(0).at("value_labels"),
              visits_variables[0].at("value_labels"));
}

// Nothing has the labels once for each of the variables that share them.
TEST_F(DescribeCommand, SharedLabelsStandInMemoryOnce) {
    StataFile file{.release = 118, .value_labels = {{"t", {}}}};
    for (int value = 0; value < 2000; ++value)
        file.value_labels[0].entries.push_back({value, "label " + std::to_string(value)});
    for (int i = 0; i < 1000; ++i)
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte, .value_label = "t"});
    scratch.write("shared.dta", build(file));
    output_of("import shared.dta s.db");
    for (const char *line : {"describe shared.dta --json", "describe s.db --json", "import shared.dta - --labels text"})
        output_of(line, {.output_path = "/dev/null"});
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    EXPECT_LT(used.ru_maxrss, 400 * 1024) << "kilobytes of the largest run";
}

} // namespace
} // namespace vor::test
