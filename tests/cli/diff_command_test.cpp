// vordta diff and the completion of command lines: short answers that people and shells rely on.
#include "command_test.h"

namespace vor::test {
namespace {

using DiffCommand = CommandTest;
using Completion = CommandTest;

TEST_F(DiffCommand, SaysNothingAfterARoundTrip) {
    output_of("import visits.dta l.db");
    output_of("export l.db:visits again.dta");
    output_of("import visits.dta v.csv");
    scratch.write("twice.dta", build({.variables = {{.name = "x", .type = Type::byte, .value_label = "t"}},
                                      .rows = {{1}},
                                      .value_labels = {{"t", {{1, "a"}, {1, "b"}}}}}));
    for (const char *line : {"diff twice.dta twice.dta", "diff visits.dta again.dta", "diff visits.dta l.db",
                             "diff l.db:visits visits.dta.gz", "diff - visits.dta"}) {
        output_of("export l.db:visits visits.dta.gz");
        EXPECT_EQ(output_of(line, {.input = visits_file()}), "") << line;
    }
    const CommandResult with_csv = run("diff visits.dta v.csv");
    EXPECT_EQ(with_csv.status, 1);
    EXPECT_EQ(with_csv.out.find("Observation"), std::string::npos) << "values are the same, in other units, too";
}

TEST_F(DiffCommand, SaysWhatDiffers) {
    StataFile file{.release = 118, .data_label = "One"};
    file.variables = {{.name = "id", .type = Type::byte},
                      {.name = "sex", .type = Type::byte, .label = "Sex", .value_label = "sexes"},
                      {.name = "old", .type = Type::float64},
                      {.name = "note", .type = str(80)}};
    const std::string start(60, 'n');
    file.rows = {{1, 1, 0, start + "a"}, {2, missing('a'), 0, "b"}, {3, 2, 0, "c"}};
    file.value_labels = {{"sexes", {{1, "male"}, {2, "female"}}}};
    scratch.write("a.dta", build(file));
    file.data_label = "Two";
    file.variables[1] = {.name = "sex", .type = Type::float64, .label = "Gender", .value_label = "sexes"};
    file.variables[2].name = "new";
    file.rows = {{1, 1, 0, start + "z"}, {2, missing('b'), 0, "b"}};
    file.value_labels = {{"sexes", {{1, "man"}, {2, "female"}, {3, "other"}}}};
    scratch.write("b.dta", build(file));
    const CommandResult result = run("diff a.dta b.dta");
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(result.out, "Difference              a.dta   b.dta\n"
                          "observations            3       2\n"
                          "label of the data set   One     Two\n"
                          "type of sex             byte    double\n"
                          "label of sex            Sex     Gender\n"
                          "variable old            double  -\n"
                          "variable new            -       double\n"
                          "value label 1 in sexes  male    man\n"
                          "value label 3 in sexes  -       other\n"
                          "\n"
                          "Variable  Differing values  First in observation\n"
                          "sex                      1                     2\n"
                          "note                     1                     1\n"
                          "\n"
                          "Observation  Variable  a.dta         b.dta\n"
                          "          1  note      …nnnnnnnnnna  …nnnnnnnnnnz\n"
                          "          2  sex       .a            .b\n"
                          "\n");
    EXPECT_NE(run("diff a.dta b.dta --limit 1").out.find("and 7 more; --limit shows them.\n"), std::string::npos);
}

// Batches of unequal length side by side, and a difference in the last of them.
TEST_F(DiffCommand, LongFiles) {
    StataFile file{.variables = {{.name = "x", .type = Type::int32}, {.name = "s", .type = str(200)}}};
    for (int row = 0; row < 30000; ++row)
        file.rows.push_back({row, "t"});
    scratch.write("a.dta", build(file));
    file.variables[1].type = str(3);
    file.rows[29999][0] = 5;
    scratch.write("b.dta", build(file));
    EXPECT_NE(run("diff a.dta b.dta").out.find("x                        1                 30000\n"),
              std::string::npos);
}

TEST_F(DiffCommand, CodebookOfWaves) {
    StataFile file{
        .variables = {{.name = "sex", .type = Type::byte, .value_label = "t"}, {.name = "x", .type = Type::int32}},
        .rows = {{1, 0}, {2, 1}, {missing('a'), 1}},
        .value_labels = {{"t", {{1, "male"}, {9, "other"}}}}};
    scratch.write("a.dta", build(file));
    file.value_labels = {{"t", {{1, "woman"}, {9, "other"}}}};
    for (int row = 0; row < 20000; ++row)
        file.rows.push_back({1, 2 + row});
    scratch.write("b.dta", build(file));
    const std::string shown = output_of("codebook a.dta b.dta");
    EXPECT_NE(shown.find("sex       code 1     male   woman\n\n"), std::string::npos) << shown;
    const std::string json = output_of("codebook b.dta -");
    for (const char *part : {"\"distinct_bound_reached\": 10000", "\"quantile_error\": 0.005", "\"maximum\": 20001.0",
                             "\"mark\": \"a\"", "\"labels_never_used\": [\n            {\n              \"code\": 9.0"})
        EXPECT_NE(json.find(part), std::string::npos) << part << json.substr(0, 2000);
}

TEST_F(Completion, Answers) {
    output_of("import visits.dta l.db");
    const struct {
        std::string line; // behind `vordta complete`
        std::string answer;
    } cases[] = {
        {"1 vordta d", "words\ndescribe\ndiff\n"},
        {"2 vordta help ex", "words\nexport\n"},
        {"2 vordta head --l", "words\n--log\n--limit\n--labels\n"},
        {"3 vordta head --labels ''", "words\ncodes\ntext\nboth\n"},
        {"2 vordta head --labels=t", "words\n--labels=text\n"},
        {"3 vordta head --keep '' visits.dta", "list\nid\nday\nat\nx\nnote\n"},
        {"5 vordta import visits o.csv --drop id,d", "list\nid,day\n"},
        {"4 vordta head l.db --keep n", "list\nnote\n"},
        {"2 vordta export l.db:", "words\nl.db:visits\n"},
        {"4 vordta import visits.dta --schema ''", "files json\n"},
        {"3 vordta formats --quiet ''", "files db sqlite\n"},
        {"3 vordta head --keep '' none.dta", "list\n"},
    };
    for (const auto &one : cases)
        EXPECT_EQ(output_of("complete " + one.line), one.answer) << one.line;
}

} // namespace
} // namespace vor::test
