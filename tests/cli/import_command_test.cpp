// vordta import: what comes out, byte for byte, and where.
#include "command_test.h"

#include <vorhost/library.h>

#include <filesystem>
#include <sqlite3.h>

namespace vor::test {
namespace {

using ImportCommand = CommandTest;

TEST_F(ImportCommand, FormsOfDelimitedText) {
    const struct {
        std::string target;
        std::string options;
        std::string expected;
    } cases[] = {
        {"a.csv", "", visits_csv},
        {"b.TSV", "--keep id,note --limit 2", "id\tnote\n1\t\"caf\xC3\xA9, \"\"ok\"\"\"\n2\tplain\n"},
        {"c.csv", "--raw --drop x,note", "id,day,at\n1,14669,1267446896\n2,-1,-1\n.a,,\n"},
        {"d.csv", "--labels text --keep id,x --limit 2", "id,x\nAnna,0.1\n\"Bo, jr.\",-2\n"},
        {"e.csv", "--labels=both --keep id --limit=1", "id,id_label\n1,Anna\n"},
        {"f.csv", "--limit 0", "id,day,at,x,note\n"},
        {"g.csv", "--value-labels off", visits_csv},
        {"h.csv", "--keep note,id --rows 2:2", "id,note\n2,plain\n"},
        {"i.csv", "--drop day,at,note --rows 2: --limit 1", "id,x\n2,-2\n"},
        {"j.csv", "--keep id --keep x --rows :2", "id,x\n1,0.1\n2,-2\n"},
        {"k.csv", "--keep id --rows 9:", "id\n"},
    };
    for (const auto &one : cases) {
        const CommandResult result = run("import visits.dta " + one.target + " " + one.options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.lines("NOTE: The import data set has ").size(), 1U) << result.err;
        EXPECT_EQ(bytes(one.target), one.expected);
    }
}

TEST_F(ImportCommand, StandardStreams) {
    EXPECT_EQ(output_of("import - -", {.input = visits_file()}), visits_csv);
    EXPECT_EQ(output_of("import - - --keep x --rows 2:3", {.input = visits_file()}), "x\n-2\n.z\n");
    EXPECT_EQ(output_of("import visits -"), visits_csv) << "the extension is added";
    output_of("import - l.db:v", {.input = visits_file()});
    EXPECT_EQ(output_of("head l.db:v --keep id --rows 1:1"), "id\n 1\n");
}

TEST_F(ImportCommand, NamesAndEncodings) {
    const std::string name = "gr\xF6\xDF" + std::string("e");
    StataFile file{.release = 114, .variables = {{.name = name, .type = str(4)}}, .rows = {{"\xE4"}}};
    scratch.write("old.dta", build(file));
    file.release = 118;
    scratch.write("recent.dta", build(file));
    const std::string latin = "größe\nä\n";
    EXPECT_EQ(output_of("import old.dta -"), latin);
    EXPECT_EQ(output_of("import old.dta - --encoding wlatin1"), latin);
    EXPECT_EQ(output_of("import old.dta - --encoding windows-1251"), "grцЯe\nд\n");
    EXPECT_EQ(output_of("import old.dta - --encoding latin1 --validvarname v7"), "gr__e\nä\n");
    EXPECT_EQ(output_of("import recent.dta - --encoding latin1"), latin);
}

class ImportIntoLibrary : public CommandTest {
  protected:
    std::shared_ptr<Library> library(const char *name = "l.db") const {
        return Library::open(scratch.path(name), Library::Access::read);
    }
    // "NAME OBSERVATIONS" of each data set.
    Words datasets() const {
        Words texts;
        for (const std::string &name : library()->dataset_names())
            texts.push_back(name + " " + std::to_string(library()->describe(name).observations));
        return texts;
    }
};

TEST_F(ImportIntoLibrary, ReplacesAllOrNothing) {
    expect_failure("import damaged.dta l.db", 1, "damaged.dta");
    output_of("import visits.dta l.db");
    output_of("import visits.dta 'l.db:two words' --limit 1");
    expect_failure("import damaged.dta l.db:visits", 1, "damaged.dta");
    EXPECT_EQ(datasets(), (Words{"two words 1", "visits 3"}));
    output_of("import visits.dta l.db:base --contract base");
    const std::string replaced = "the user format ID had other labels";
    std::string relabelled = visits_file();
    scratch.write("other.dta", relabelled.replace(relabelled.find("Anna"), 4, "Anne"));
    EXPECT_NE(run("import other.dta l.db:base --contract base -v").err.find(replaced), std::string::npos);
}

TEST_F(ImportIntoLibrary, SeveralFiles) {
    scratch.write("one.dta", visits_file());
    scratch.write("two.dta", visits_file());
    output_of("import one.dta two.dta l.db --rows 2: --drop id");
    EXPECT_EQ(datasets(), (Words{"one 2", "two 2"}));
    EXPECT_EQ(library()->describe("two").variables.size(), 4U);
    scratch.write("three.dta", build({.variables = {{.name = "id"}, {.name = "v1"}}}));
    EXPECT_EQ(run("import two.dta three.dta l.db --rows 2: --drop id --drop 'v*'")
                  .lines("NOTE: two.dta has no variable v*.")
                  .size(),
              1U);
    expect_failure("import one.dta damaged.dta two.dta l.db", 1, "damaged.dta");
    EXPECT_EQ(datasets(), (Words{"one 3", "two 2"})) << "the files before are done, those behind are not begun";
}

TEST_F(ImportIntoLibrary, EachWaveKeepsItsLabels) {
    for (const char *wave : {"wave1", "wave2"}) {
        const bool swapped = wave[4] == '2';
        StataFile file{.variables = {{.name = "sex", .type = Type::byte, .value_label = "sexes"}}, .rows = {{1}, {2}}};
        file.value_labels = {{"sexes", {{1, swapped ? "female" : "male"}, {2, swapped ? "male" : "female"}}}};
        scratch.write(std::string(wave) + ".dta", build(file));
    }
    output_of("import wave1.dta wave2.dta l.db");
    EXPECT_EQ(output_of("head l.db:wave1 --labels text"), "sex\nmale\nfemale\n");
    EXPECT_EQ(output_of("head l.db:wave2 --labels text"), "sex\nfemale\nmale\n");
    output_of("export l.db:wave1 back.dta");
    EXPECT_EQ(output_of("head back.dta --labels text"), "sex\nmale\nfemale\n");
}

// A date inside the month that its variable counts is told, and a strict run writes nothing.
TEST_F(ImportIntoLibrary, ChangedDatesAreAWarning) {
    scratch.write("m.dta",
                  build({.variables = {{.name = "m", .type = Type::int16, .format = "%tm"}}, .rows = {{600}}}));
    output_of("import m.dta l.db");
    output_of("export l.db:m back.dta --strict");
    sqlite3 *client = nullptr;
    sqlite3_open(scratch.path("l.db").c_str(), &client);
    sqlite3_exec(client, "UPDATE m SET m = '2010-01-15'", nullptr, nullptr, nullptr);
    sqlite3_close(client);
    const CommandResult result = run("export l.db:m again.dta --strict");
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_NE(result.err.find("WARNING: "), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(scratch.path("again.dta")));
    EXPECT_EQ(run("export l.db:m again.dta").status, 0);
}

TEST_F(ImportIntoLibrary, FormatsGoWhereFmtlibSays) {
    output_of("import visits.dta - --libname F=f.sqlite --fmtlib f.labels");
    output_of("import visits.dta l.db --fmtlib DEST.OWN --libname same=l.db");
    output_of("import visits.dta l.db:none --value-labels off");
    EXPECT_EQ(library("f.sqlite")->format_names("LABELS"), Words{"who"});
    EXPECT_EQ(library()->catalog_names(), Words{"OWN"});
    EXPECT_EQ(library()->describe("none").variables[0].format, Format{});
}

// What is told of the first value that is changed, too.
TEST_F(ImportCommand, AnyNumberOfThreadsWritesTheSame) {
    StataFile file{.variables = {{.name = "n", .type = Type::int16, .value_label = "t"},
                                 {.name = "w", .type = Type::float64, .format = "%tw"},
                                 {.name = "s", .type = Type::strl, .format = "%9s"}},
                   .value_labels = {{"t", {{7, "\"seven\",\n"}}}}};
    for (int row = 0; row < 20000; ++row)
        file.rows.push_back({row % 100, row < 19000 ? row : 0.5, row % 3000 == 2999 ? Cell(binary("\1")) : "a\"b"});
    scratch.write("many.dta", build(file));
    const std::string one = run("import many.dta o.csv --raw --labels both --threads 1").err;
    const std::string written = bytes("o.csv");
    for (const char *threads : {"2", "4"}) {
        EXPECT_EQ(run(std::string("import many.dta o.csv --raw --labels both --threads ") + threads).err, one);
        EXPECT_TRUE(bytes("o.csv") == written) << threads;
    }
    EXPECT_NE(one.find("first in observation 19001"), std::string::npos) << one;
    expect_failure("import many.dta o.csv --threads 0", 2, "--threads");
}

TEST_F(ImportCommand, LogOfEachRun) {
    EXPECT_EQ(run("import visits.dta - --quiet --log log.txt").err, "");
    const std::string result = "NOTE: The import data set has 3 observations and 5 variables.";
    EXPECT_EQ(run("import visits.dta -").err, result + "\n");
    EXPECT_GT(run("import visits.dta - -v").lines("NOTE: ").size(), 1U);
    scratch.write("o.csv", "x\n1\nN/A\n");
    EXPECT_TRUE(run("export o.csv o.dta").err.ends_with("variable. (1 more note: --verbose)\n"));
    EXPECT_NE(bytes("log.txt").find("NOTE: The import data set has 3 observations and 5 variables.\n"),
              std::string::npos);
    expect_failure("import no.dta - --quiet --log log.txt", 3, "no.dta");
    EXPECT_TRUE(bytes("log.txt").starts_with("ERROR: ")) << "each run begins its log anew";
}

TEST_F(ImportCommand, ProgressOnATerminal) {
    const std::string shown = run("import visits.dta o.csv --progress on", {.terminal = true}).err;
    EXPECT_NE(shown.find("3 of 3 rows"), std::string::npos) << shown;
    EXPECT_GT(shown.rfind("\r\x1b[K"), shown.rfind(" rows")) << "the line is erased";
    const auto silent = [&](const char *mode, bool terminal) {
        const CommandResult result =
            run(std::string("import visits.dta o.csv --progress ") + mode, {.terminal = terminal});
        return result.status == 0 && result.err.find("rows") == std::string::npos;
    };
    EXPECT_TRUE(silent("off", true));
    EXPECT_TRUE(silent("auto", true)) << "a short run";
    EXPECT_TRUE(silent("on", false)) << "never into a file";
}

} // namespace
} // namespace vor::test
