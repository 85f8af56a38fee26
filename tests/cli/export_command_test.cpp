// vordta export: a data set goes out again, and comes back the same.
#include "command_test.h"

namespace vor::test {
namespace {

using ExportCommand = CommandTest;

TEST_F(ExportCommand, ComesBackTheSame) {
    const CollectedImport original = imported("visits.dta");
    const std::string labelled = output_of("import visits.dta - --labels both");
    output_of("import visits.dta l.db");
    output_of("import visits.dta v.csv --schema v.json");
    output_of("import visits.dta v.tsv --labels both");
    const struct {
        std::string source, target, options;
    } cases[] = {
        {"l.db:visits", "a.dta", ""},          {"l.db", "visits", ""}, // the data set's name is the file's stem
        {"v.csv", "c.dta", "--schema v.json"}, {"-", "d.dta", "--schema v.json"},
        {"v.tsv", "e.dta", "--schema v.json"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.source);
        const CommandResult result =
            run("export " + one.source + " " + one.target + " " + one.options, {.input = bytes("v.csv")});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.lines("NOTE: The export data set has 3 observations and 5 variables.").size(), 1U)
            << result.err;
        EXPECT_EQ(output_of("import " + one.target + " - --labels both"), labelled);
        EXPECT_EQ(imported(one.target).catalogs.formats, original.catalogs.formats);
    }
    for (const char *line : {"export l.db:visits -", "export l.db -"})
        EXPECT_TRUE(output_of(line) == bytes("a.dta")) << "the only data set";
}

TEST_F(ExportCommand, DelimitedTextAlone) {
    scratch.write("o.csv", visits_csv);
    output_of("export o.csv o.dta");
    EXPECT_EQ(output_of("import o.dta -"), visits_csv) << "types, dates and marks are found without a schema";
}

TEST_F(ExportCommand, AStrictRunLeavesNothingBehindAWarning) {
    output_of("import visits.dta v.csv --schema v.json --contract extended");
    std::string schema = bytes("v.json");
    const std::string days = "\"%td\"";
    scratch.write("v.json", schema.replace(schema.find(days), days.size(), "\"%tm\""));
    const std::string line = "export v.csv o.dta --schema v.json --quiet --contract extended";
    expect_failure(line + " --strict", 1, "inside a period, taken as the whole of it");
    EXPECT_EQ(run(line).lines("WARNING: ").size(), 1U) << "quiet runs say warnings";
}

TEST_F(ExportCommand, OtherSeparatorsAndMissingValues) {
    scratch.write("o.csv", "x;y\nNA;1\n-9;NA\n");
    output_of("export o.csv o.dta --separator ';' --na NA --na -9");
    EXPECT_EQ(output_of("import o.dta -"), "x,y\n,1\n,\n");
    expect_failure("export o.csv p.dta --separator ab", 2, "is no separator");
}

TEST_F(ExportCommand, NamesThatAFileCannotHave) {
    scratch.write("o.csv", "first name,2nd,if\nAnna,1,2\n");
    const CommandResult result = run("export o.csv o.dta");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("first name"), std::string::npos) << "each change is a note";
    EXPECT_EQ(output_of("import o.dta -"), "first_name,_2nd,if_\nAnna,1,2\n");
    EXPECT_EQ(imported("o.dta").description.variables.at(0).label, "first name");
}

TEST_F(ExportCommand, FileNamesThatBeginWithABlank) {
    scratch.write("o.csv", visits_csv);
    scratch.write("o.dta", "another file");
    output_of("export o.csv ' o.dta'");
    EXPECT_EQ(bytes("o.dta"), "another file");
    EXPECT_EQ(output_of("import ' o.dta' -"), visits_csv);
}

TEST_F(ExportCommand, FormatsComeFromWhereFmtlibSays) {
    output_of("import visits.dta l.db --libname F=f.db --fmtlib F.CAT");
    output_of("export l.db:visits without.dta");
    output_of("export l.db:visits with.dta --libname F=f.db --fmtlib F.CAT");
    EXPECT_TRUE(imported("without.dta").catalogs.formats.empty());
    EXPECT_EQ(imported("with.dta").catalogs.formats, imported("visits.dta").catalogs.formats);
}

TEST_F(ExportCommand, LabelsAsNames) {
    output_of("import visits.dta l.db");
    output_of("export l.db:visits o --labels-as-names");
    EXPECT_EQ(imported("o.dta").description.variables.at(0).name, "Person");
}

} // namespace
} // namespace vor::test
