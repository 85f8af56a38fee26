// vordta export: a data set goes out again, and comes back the same.
#include "collected_import.h"
#include "command_files.h"
#include "run_command.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Words = std::vector<std::string>;

// "name type length format label" of each variable. Widths and decimals of plain numbers are the writer's.
Words variable_texts(const CollectedImport &import) {
    Words texts;
    for (const vor::Variable &variable : import.description.variables) {
        texts.push_back(variable.name + (variable.kind == ValueKind::numeric ? " numeric " : " character ") +
                        std::to_string(variable.length) + " " +
                        (variable.format.name.empty() ? "" : format_text(variable.format)) + " " + variable.label);
    }
    return texts;
}

// Observations, variables and value labels; not how the file stores them.
void expect_same(const CollectedImport &import, const CollectedImport &original) {
    ASSERT_FALSE(import.error) << import.error->what();
    EXPECT_EQ(import.rows, original.rows);
    EXPECT_EQ(variable_texts(import), variable_texts(original));
    EXPECT_EQ(import.catalogs.formats, original.catalogs.formats);
}

TEST(ExportCommand, ComesBackTheSame) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const CollectedImport original = collect_import(file);
    const std::string library = scratch.path("l.db");
    const std::string csv = scratch.path("v.csv");
    const std::string tsv = scratch.path("v.tsv");
    const std::string schema = scratch.path("v.json");
    ASSERT_EQ(run_command({"import", file, library}).status, 0);
    ASSERT_EQ(run_command({"import", file, csv, "--schema", schema}).status, 0);
    ASSERT_EQ(run_command({"import", file, tsv, "--labels", "both"}).status, 0);
    const struct {
        Words arguments;
        std::string input;
    } cases[] = {
        {{library + ":visits", scratch.path("a.dta")}, ""},
        {{library, scratch.path("visits")}, ""}, // the data set's name is the file's stem
        {{csv, scratch.path("b.dta"), "--schema", schema}, ""},
        {{"-", scratch.path("c.dta"), "--schema", schema}, file_bytes(csv)},
        {{tsv, scratch.path("d.dta"), "--schema", schema}, ""},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.arguments[0]);
        Words arguments{"export"};
        arguments.insert(arguments.end(), one.arguments.begin(), one.arguments.end());
        const CommandResult result = run_command(arguments, {.input = one.input});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.lines("NOTE: The export data set has 3 observations and 5 variables.").size(), 1U)
            << result.err;
        expect_same(collect_import(one.arguments[1]), original);
    }
    const CommandResult streamed = run_command({"export", library + ":visits", "-"});
    EXPECT_EQ(streamed.status, 0) << streamed.err;
    EXPECT_TRUE(streamed.out == file_bytes(scratch.path("a.dta")));
}

TEST(ExportCommand, DelimitedTextAlone) {
    const ScratchDirectory scratch;
    const std::string out = scratch.path("o.dta");
    const std::string csv = scratch.write("o.csv", visits_csv);
    ASSERT_EQ(run_command({"export", csv, out}).status, 0);
    const CommandResult back = run_command({"import", out, "-"});
    EXPECT_EQ(back.out, visits_csv) << "types, dates and marks are found without a schema";
}

TEST(ExportCommand, NamesThatAFileCannotHave) {
    const ScratchDirectory scratch;
    const std::string csv = scratch.write("o.csv", "first name,2nd,if\nAnna,1,2\n");
    const CommandResult result = run_command({"export", csv, scratch.path("o.dta")});
    EXPECT_EQ(result.status, 0) << result.err;
    const CollectedImport import = collect_import(scratch.path("o.dta"));
    ASSERT_EQ(import.description.variables.size(), 3U);
    EXPECT_EQ(import.description.variables[0].name, "first_name");
    EXPECT_EQ(import.description.variables[0].label, "first name");
    EXPECT_NE(result.err.find("first name"), std::string::npos) << "each change is a note";
    for (const vor::Variable &variable : import.description.variables) {
        EXPECT_NE(variable.name, "if");
    }
}

TEST(ExportCommand, FormatsComeFromWhereFmtlibSays) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string library = scratch.path("l.db");
    const std::string formats = scratch.path("f.db");
    ASSERT_EQ(run_command({"import", file, library, "--libname", "F=" + formats, "--fmtlib", "F.CAT"}).status, 0);
    const std::string without = scratch.path("without.dta");
    const std::string with = scratch.path("with.dta");
    ASSERT_EQ(run_command({"export", library + ":visits", without}).status, 0);
    ASSERT_EQ(
        run_command({"export", library + ":visits", with, "--libname", "F=" + formats, "--fmtlib", "F.CAT"}).status, 0);
    EXPECT_TRUE(collect_import(without).catalogs.formats.empty());
    EXPECT_EQ(collect_import(with).catalogs.formats, collect_import(file).catalogs.formats);
}

TEST(ExportCommand, LabelsAsNames) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string library = scratch.path("l.db");
    ASSERT_EQ(run_command({"import", file, library}).status, 0);
    ASSERT_EQ(run_command({"export", library + ":visits", scratch.path("o"), "--labels-as-names"}).status, 0);
    const CollectedImport import = collect_import(scratch.path("o.dta"));
    ASSERT_FALSE(import.description.variables.empty());
    EXPECT_EQ(import.description.variables[0].name, "Person");
}

} // namespace
} // namespace vor::test
