// vordta import: what comes out, byte for byte, and where.
#include "collected_import.h"
#include "command_files.h"
#include "run_command.h"

#include <vorhost/library.h>

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Words = std::vector<std::string>;

TEST(ImportCommand, FormsOfDelimitedText) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const struct {
        Words options;
        std::string name;
        std::string expected;
    } cases[] = {
        {{}, "a.csv", visits_csv},
        {{},
         "b.TSV",
         "id\tday\tat\tx\tnote\n"
         "1\t2000-02-29\t2000-02-29T12:34:56\t0.1\t\"caf\xC3\xA9, \"\"ok\"\"\"\n"
         "2\t1959-12-31\t1959-12-31T23:59:59\t-2\tplain\n"
         ".a\t\t\t.z\t\n"},
        {{"--raw"},
         "c.csv",
         "id,day,at,x,note\n"
         "1,14669,1267446896,0.1,\"caf\xC3\xA9, \"\"ok\"\"\"\n"
         "2,-1,-1,-2,plain\n"
         ".a,,,.z,\n"},
        {{"--labels", "text", "--limit", "2"},
         "d.csv",
         "id,day,at,x,note\n"
         "Anna,2000-02-29,2000-02-29T12:34:56,0.1,\"caf\xC3\xA9, \"\"ok\"\"\"\n"
         "\"Bo, jr.\",1959-12-31,1959-12-31T23:59:59,-2,plain\n"},
        {{"--labels=both", "--limit=1"},
         "e.csv",
         "id,id_label,day,at,x,note\n"
         "1,Anna,2000-02-29,2000-02-29T12:34:56,0.1,\"caf\xC3\xA9, \"\"ok\"\"\"\n"},
        {{"--limit", "0"}, "f.csv", "id,day,at,x,note\n"},
        {{"--value-labels", "off"}, "g.csv", visits_csv},
        {{"--keep", "note,id", "--rows", "2:2"}, "h.csv", "id,note\n2,plain\n"},
        {{"--drop", "day,at,note", "--rows", "2:", "--limit", "1"}, "i.csv", "id,x\n2,-2\n"},
        {{"--keep", "id", "--keep", "x", "--rows", ":2"}, "j.csv", "id,x\n1,0.1\n2,-2\n"},
        {{"--keep", "id", "--rows", "9:"}, "k.csv", "id\n"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        Words arguments{"import", file, scratch.path(one.name)};
        arguments.insert(arguments.end(), one.options.begin(), one.options.end());
        const CommandResult result = run_command(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(result.lines("ERROR:").empty());
        EXPECT_FALSE(result.lines("NOTE:").empty());
        EXPECT_EQ(file_bytes(scratch.path(one.name)), one.expected);
    }
}

TEST(ImportCommand, StandardStreams) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const CommandResult through = run_command({"import", "-", "-"}, {.input = visits_file()});
    EXPECT_EQ(through.status, 0) << through.err;
    EXPECT_EQ(through.out, visits_csv);
    const CommandResult part =
        run_command({"import", "-", "-", "--keep", "x", "--rows", "2:3"}, {.input = visits_file()});
    EXPECT_EQ(part.out, "x\n-2\n.z\n") << part.err;
    const CommandResult completed = run_command({"import", scratch.path("visits"), "-"});
    EXPECT_EQ(completed.out, visits_csv) << "the extension is added";
    EXPECT_EQ(run_command({"import", "-", scratch.path("v.db")}, {.input = visits_file()}).status, 2)
        << "nothing gives the data set a name";
    EXPECT_EQ(run_command({"import", "-", scratch.path("v.db") + ":v"}, {.input = visits_file()}).status, 0);
}

TEST(ImportCommand, NamesAndEncodings) {
    const ScratchDirectory scratch;
    StataFile file{.release = 114,
                   .variables = {{.name = "gr\xF6\xDF"
                                          "e",
                                  .type = str(4)}}};
    file.rows = {{"\xE4"}};
    const std::string old = scratch.write("old.dta", build(file));
    file.release = 118;
    const std::string recent = scratch.write("recent.dta", build(file));
    const struct {
        Words arguments;
        const char *expected;
    } cases[] = {
        {{old},
         "gr\xC3\xB6\xC3\x9F"
         "e\n\xC3\xA4\n"},
        {{old, "--encoding", "wlatin1"},
         "gr\xC3\xB6\xC3\x9F"
         "e\n\xC3\xA4\n"},
        {{old, "--encoding", "windows-1251"},
         "gr\xD1\x86\xD0\xAF"
         "e\n\xD0\xB4\n"},
        {{old, "--encoding", "latin1", "--validvarname", "v7"}, "gr__e\n\xC3\xA4\n"},
        {{recent, "--encoding", "latin1"},
         "gr\xC3\xB6\xC3\x9F"
         "e\n\xC3\xA4\n"},
    };
    for (const auto &one : cases) {
        Words arguments{"import", "--quiet"};
        arguments.insert(arguments.end(), one.arguments.begin(), one.arguments.end());
        arguments.emplace_back("-");
        const CommandResult result = run_command(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, one.expected) << ::testing::PrintToString(one.arguments);
    }
}

TEST(ImportCommand, LibraryIsReplacedAsAWholeOrNotAtAll) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string damaged =
        scratch.write("damaged.dta", visits_file().substr(0, visits_file().find("</data>") - 1));
    const std::string library = scratch.path("l.db");
    EXPECT_EQ(run_command({"import", damaged, library}).status, 1);
    EXPECT_FALSE(std::filesystem::exists(library)) << "a failed run leaves no library behind";
    ASSERT_EQ(run_command({"import", file, library}).status, 0);
    ASSERT_EQ(run_command({"import", file, library + ":two words", "--limit", "1"}).status, 0);
    EXPECT_EQ(run_command({"import", damaged, library + ":visits"}).status, 1);
    const auto opened = Library::open(library, Library::Access::read);
    EXPECT_EQ(opened->dataset_names(), (Words{"two words", "visits"}));
    EXPECT_EQ(opened->describe("visits").observations, 3);
    EXPECT_EQ(opened->describe("two words").observations, 1);
    EXPECT_EQ(opened->format_names("FORMATS"), Words{"ID"});
    EXPECT_EQ(scratch.names(), (Words{"damaged.dta", "l.db", "visits.dta"}));
    const std::string replaced = "the user format ID had other labels";
    EXPECT_EQ(run_command({"import", file, library}).err.find(replaced), std::string::npos);
    std::string relabelled = visits_file();
    relabelled.replace(relabelled.find("Anna"), 4, "Anne");
    EXPECT_NE(run_command({"import", scratch.write("other.dta", relabelled), library}).err.find(replaced),
              std::string::npos)
        << "the data sets share the format";
}

TEST(ImportCommand, SeveralFilesIntoOneLibrary) {
    const ScratchDirectory scratch;
    const std::string one = scratch.write("one.dta", visits_file());
    const std::string two = scratch.write("two.dta", visits_file());
    const std::string damaged =
        scratch.write("damaged.dta", visits_file().substr(0, visits_file().find("</data>") - 1));
    const std::string library = scratch.path("l.db");
    ASSERT_EQ(run_command({"import", one, two, library, "--rows", "2:", "--drop", "id"}).status, 0);
    const auto opened = Library::open(library, Library::Access::read);
    EXPECT_EQ(opened->dataset_names(), (Words{"one", "two"}));
    for (const char *name : {"one", "two"}) {
        EXPECT_EQ(opened->describe(name).observations, 2);
        EXPECT_EQ(opened->describe(name).variables.size(), 4U);
    }
    EXPECT_TRUE(opened->format_names("FORMATS").empty()) << "only the variable left out has labels";
    const CommandResult stopped = run_command({"import", one, damaged, two, library});
    EXPECT_EQ(stopped.status, 1);
    EXPECT_NE(stopped.lines("ERROR: ").at(0).find("damaged.dta"), std::string::npos);
    EXPECT_EQ(opened->describe("one").observations, 3) << "the files before are done";
    EXPECT_EQ(opened->describe("two").observations, 2) << "those behind are not begun";
    EXPECT_EQ(opened->dataset_names(), (Words{"one", "two"}));
}

TEST(ImportCommand, FormatsGoWhereFmtlibSays) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string formats = scratch.path("f.sqlite");
    const std::string library = scratch.path("l.db");
    const Words elsewhere = {"import", file, "-", "--libname", "F=" + formats, "--fmtlib", "f.labels"};
    ASSERT_EQ(run_command(elsewhere).status, 0);
    ASSERT_EQ(run_command({"import", file, library, "--fmtlib", "DEST.OWN", "--libname", "same=" + library}).status, 0);
    ASSERT_EQ(run_command({"import", file, library + ":none", "--value-labels", "off"}).status, 0);
    EXPECT_EQ(Library::open(formats, Library::Access::read)->format_names("LABELS"), Words{"ID"});
    const auto opened = Library::open(library, Library::Access::read);
    EXPECT_EQ(opened->catalog_names(), Words{"OWN"});
    EXPECT_EQ(opened->describe("none").variables[0].format, Format{});
}

TEST(ImportCommand, LogAndProgress) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string log = scratch.path("log.txt");
    const CommandResult quiet = run_command({"import", file, "-", "--quiet", "--log", log});
    EXPECT_EQ(quiet.err, "");
    EXPECT_NE(file_bytes(log).find("NOTE: The import data set has 3 observations and 5 variables.\n"),
              std::string::npos);
    EXPECT_EQ(run_command({"import", scratch.path("no"), "-", "--quiet", "--log", log}).lines("ERROR:").size(), 1U);
    EXPECT_TRUE(file_bytes(log).starts_with("ERROR: ")) << "each run begins its log anew";

    const CommandResult shown =
        run_command({"import", file, scratch.path("o.csv"), "--progress", "on"}, {.terminal = true});
    EXPECT_NE(shown.err.find("3 of 3 rows"), std::string::npos) << shown.err;
    EXPECT_TRUE(shown.err.ends_with("\r\x1b[K")) << "the line is erased";
    for (const Words &mode : {Words{"--progress", "off"}, Words{"--progress", "auto"}}) {
        Words arguments{"import", file, scratch.path("o.csv")};
        arguments.insert(arguments.end(), mode.begin(), mode.end());
        EXPECT_EQ(run_command(arguments, {.terminal = true}).err.find("rows"), std::string::npos);
    }
    EXPECT_EQ(run_command({"import", file, scratch.path("o.csv"), "--progress", "on"}).err.find("rows/s"),
              std::string::npos)
        << "never into a file";
}

} // namespace
} // namespace vor::test
