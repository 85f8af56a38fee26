// How the command fails: one ERROR line, the exit status, and nothing left behind.
#include "collected_import.h"
#include "command_files.h"
#include "packed_bytes.h"
#include "run_command.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

namespace vor::test {
namespace {

using Words = std::vector<std::string>;

// %: the scratch directory, which holds visits.dta, visits.dta.gz, damaged.dta, folder.dta, text.db, good.db, v.csv,
// v.json, bad.json, ragged.csv and a target, old.csv.
struct FailingCase {
    const char *arguments;
    int status;
    const char *part; // of the ERROR line
};

const FailingCase usage_cases[] = {
    {"", 2, "The commands are import, export"},
    {"nothing", 2, "\"nothing\" is no command"},
    {"--quiet import %/visits.dta -", 2, "--quiet"},
    {"import", 2, "FILE"},
    {"import %/visits.dta", 2, "DEST"},
    {"import %/visits.dta %/o.csv more", 2, "more"},
    {"import %/visits.dta %/folder.dta %/o.csv", 2, "o.csv takes one Stata file"},
    {"import %/visits.dta %/folder.dta -", 2, "Standard output takes one"},
    {"import %/visits.dta %/folder.dta %/o.db:a", 2, "write %/o.db alone"},
    {"import %/visits.dta %/folder.dta %/folder.dta/VISITS %/o.db", 2, "VISITS"},
    {"import %/visits.dta - %/o.db", 2, "%/o.db:DATASET"},
    {"import %/v.csv %/o.dta", 2, "vordta export %/v.csv %/o.dta"},
    {"import %/v.csv %/o.db", 2, "v.csv is no Stata file"},
    {"import %/good.db %/o.csv", 2, "good.db is no Stata file"},
    {"export %/visits.dta %/o.csv", 2, "vordta import %/visits.dta %/o.csv"},
    {"import %/visits.dta - --keep id,ID", 2, "visits.dta has no variable ID, but one named id"},
    {"import %/visits.dta %/o.db --drop no", 2, "no variable no"},
    {"import %/visits.dta - --keep id --drop x", 2, "--drop"},
    {"import %/visits.dta - --keep id,,x", 2, "lacks a name"},
    {"import %/visits.dta - --rows 0:5", 2, "number 1"},
    {"import %/visits.dta - --rows 5:4", 2, "before the first"},
    {"import %/visits.dta - --rows 5", 2, "FIRST:LAST"},
    {"import %/visits.dta - --rows :", 2, "FIRST:LAST"},
    {"import %/visits.dta - --rows 1:2x", 2, "FIRST:LAST"},
    {"head %/visits.dta --rows 1:99999999999999999999", 2, "FIRST:LAST"},
    {"head %/good.db --keep id,no", 2, "good.db:visits has no variable no"},
    {"head %/good.db --encoding latin1", 2, "--encoding"},
    {"describe %/good.db --validvarname v7", 2, "--validvarname"},
    {"import %/visits.dta %/o.txt", 2, "o.txt"},
    {"import %/visits.dta %/o.db:", 2, "colon"},
    {"import %/visits.dta %/o.db.gz", 2, "cannot be compressed; name it"},
    {"import %/visits.dta %/o.sqlite.zip:visits", 2, "cannot be compressed; name it"},
    {"import %/visits.dta - --limit -1", 2, "limit"},
    {"import %/visits.dta - --limit x", 2, "x is no number of observations"},
    {"import %/visits.dta - --labels some", 2, "labels"},
    {"import %/visits.dta - --progress yes", 2, "progress"},
    {"import %/visits.dta - --validvarname v8", 2, "validvarname"},
    {"import %/visits.dta - --encoding no-such-thing", 2, "no-such-thing"},
    {"import %/visits.dta - --session-encoding no-such-thing", 2, "no-such-thing"},
    {"import %/visits.dta - --fmtlib F.CAT", 2, "--libname F=PATH"},
    {"import %/visits.dta - --fmtlib F.CAT.MORE", 2, "F.CAT.MORE"},
    {"import %/visits.dta - --fmtlib NINELETTR", 2, "NINELETTR"},
    {"import %/visits.dta - --libname F", 2, "LIBRARY=PATH"},
    {"import %/visits.dta - --libname F= --fmtlib F", 2, "LIBRARY=PATH"},
    {"import %/visits.dta %/o.db --libname dest=%/p.db", 2, "DEST"},
    {"import %/visits.dta %/o.db --raw", 2, "--raw"},
    {"import %/visits.dta %/o.db --labels text", 2, "--labels"},
    {"import %/visits.dta %/o.db --schema %/o.json", 2, "--schema"},
    {"import %/visits.dta %/o.csv --labels text --schema %/o.json", 2, "--schema"},
    {"import %/visits.dta %/o.csv --labels both --value-labels off", 2, "--value-labels"},
    {"import %/visits.dta %/o.db:vor_formats", 2, "vor_"},
    {"export %/good.db:visits %/o.dta --schema %/v.json", 2, "--schema"},
    {"export %/good.txt %/o.dta", 2, "good.txt"},
    {"export %/v.csv %/o.dta --raw", 2, "--raw"},
    {"head %/visits.dta --schema %/o.json", 2, "--schema"},
    {"describe %/ragged.csv", 2, "ragged.csv is no Stata file"},
    {"formats %/visits.dta", 2, "visits.dta"},
};

const FailingCase conversion_cases[] = {
    {"import %/damaged.dta %/o.csv", 1, "damaged.dta"},
    {"import %/damaged.dta %/old.csv", 1, "damaged.dta"},
    {"import %/damaged.dta %/o.db", 1, "damaged.dta"},
    {"import %/damaged.dta -", 1, "damaged.dta"},
    {"export %/ragged.csv %/o.dta", 1, "ragged.csv"},
    {"export %/v.csv %/o.dta --schema %/bad.json", 1, "bad.json"},
    {"export %/ragged.csv %/o.dta --schema %/v.json", 1, "ragged.csv"},
    {"export %/good.db:nothing %/o.dta", 1, "no data set nothing; it has visits."},
    {"describe %/good.db:nothing", 1, "nothing"},
};

const FailingCase machine_cases[] = {
    {"import %/nothing.dta %/o.csv", 3, "No such file"},
    {"import %/nothing.dta %/o.db", 3, "No such file"},
    {"import %/folder.dta %/o.csv", 3, "directory"},
    {"import %/visits.dta %/none/o.csv", 3, "No such file"},
    {"import %/visits.dta %/none/o.csv.gz", 3, "No such file"},
    {"import %/visits.dta %/none/o.db", 3, "none/o.db"},
    {"import %/visits.dta %/o.csv --schema %/none/o.json", 3, "none/o.json"},
    {"import %/visits.dta - --log %/none/log.txt", 3, "none/log.txt"},
    {"import %/visits.dta - --log /dev/full", 3, "No space left"},
    {"export %/v.csv %/none/o.dta", 3, "No such file"},
    {"export %/v.csv %/none/o.dta.gz", 3, "No such file"},
    {"export %/none.csv %/o.dta", 3, "No such file"},
    {"export %/none.db:a %/o.dta", 3, "none.db"},
    {"export %/v.csv %/o.dta --schema %/none.json", 3, "none.json"},
    {"head %/nothing.dta", 3, "No such file"},
    {"formats %/none.db", 3, "none.db"},
};

class Failures : public ::testing::Test {
  protected:
    Failures() {
        const std::string file = scratch_.write("visits.dta", visits_file());
        scratch_.write("visits.dta.gz", packed(".gz", {{"", visits_file()}}));
        scratch_.write("damaged.dta", visits_file().substr(0, visits_file().find("</data>") - 1));
        scratch_.write("ragged.csv", "id,day,at,x,note\n1,2,3,4,5\n1,2\n");
        scratch_.write("text.db", std::string(5000, 'x'));
        scratch_.write("bad.json", "{\"variables\": 5}");
        scratch_.write("old.csv", "old\n");
        std::filesystem::create_directory(path("folder.dta"));
        run_command({"import", file, path("good.db")});
        run_command({"import", file, path("v.csv"), "--schema", path("v.json")});
        names_ = scratch_.names();
    }

    std::string path(const std::string &name) const { return scratch_.path(name); }

    Words words(const std::string &text) const {
        Words words;
        std::istringstream stream(with_directory(text));
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        return words;
    }

    std::string with_directory(std::string text) const {
        for (std::size_t at = 0; (at = text.find('%', at)) != std::string::npos;) {
            text.replace(at, 2, path(""));
        }
        return text;
    }

    void expect_failure(const FailingCase &one) const {
        SCOPED_TRACE(one.arguments);
        const CommandResult result = run_command(words(one.arguments));
        EXPECT_EQ(result.status, one.status);
        const Words errors = result.lines("ERROR: ");
        EXPECT_EQ(errors.size(), 1U) << result.err;
        EXPECT_NE(result.err.find(with_directory(one.part)), std::string::npos) << result.err;
        EXPECT_EQ(scratch_.names(), names_) << "something was left behind";
        EXPECT_EQ(file_bytes(path("old.csv")), "old\n");
    }

    ScratchDirectory scratch_;
    Words names_;
};

TEST_F(Failures, WrongUsage) {
    for (const FailingCase &one : usage_cases) {
        expect_failure(one);
    }
}

TEST_F(Failures, DataThatCannotBeConverted) {
    for (const FailingCase &one : conversion_cases) {
        expect_failure(one);
    }
}

TEST_F(Failures, RefusalsOfTheMachine) {
    for (const FailingCase &one : machine_cases) {
        expect_failure(one);
    }
    EXPECT_NE(run_command({"import", path("visits.dta"), path("text.db")}).status, 0);
    EXPECT_EQ(file_bytes(path("text.db")), std::string(5000, 'x'));
    if (geteuid() != 0) { // nothing is unreadable for root
        std::filesystem::permissions(path("visits.dta"), std::filesystem::perms::none);
        expect_failure({"import %/visits.dta %/o.csv", 3, "Permission denied"});
    }
}

TEST_F(Failures, StandardOutputThatTakesNothing) {
    for (const char *arguments : {"import %/visits.dta -", "export %/v.csv -", "describe %/visits.dta",
                                  "head %/visits.dta", "formats %/good.db", "--help"}) {
        SCOPED_TRACE(arguments);
        const CommandResult full = run_command(words(arguments), {.output_path = "/dev/full"});
        EXPECT_EQ(full.status, 3);
        EXPECT_EQ(full.lines("ERROR: ").size(), 1U) << full.err;
        EXPECT_NE(full.err.find("No space left"), std::string::npos) << full.err;
        const CommandResult gone = run_command(words(arguments), {.closed_output = true});
        EXPECT_EQ(gone.status, 3);
        EXPECT_NE(gone.err.find("Broken pipe"), std::string::npos) << gone.err;
    }
}

// The largest file that a process may write stands for a disk that is full: every write beyond it fails.
TEST_F(Failures, FullDisk) {
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    for (const char *arguments : {"import %/visits.dta %/o.csv", "import %/visits.dta %/o.db", "export %/v.csv %/o.dta",
                                  "import %/visits.dta %/old.csv", "import %/visits.dta.gz %/o.csv",
                                  "import %/visits.dta %/o.csv.xz", "export %/v.csv %/o.dta.gz"}) {
        for (const rlim_t bytes : {0, 100}) {
            SCOPED_TRACE(arguments);
            rlimit limit = old;
            limit.rlim_cur = bytes;
            setrlimit(RLIMIT_FSIZE, &limit);
            // Standard error is a terminal, which has no size.
            const CommandResult result = run_command(words(arguments), {.terminal = true});
            setrlimit(RLIMIT_FSIZE, &old);
            EXPECT_EQ(result.status, 3) << result.err;
            EXPECT_NE(result.err.find("ERROR: "), std::string::npos) << result.err;
            EXPECT_EQ(scratch_.names(), names_);
            EXPECT_EQ(file_bytes(path("old.csv")), "old\n");
        }
    }
    std::signal(SIGXFSZ, previous);
}

TEST_F(Failures, HelpAndVersionAreNoFailures) {
    for (const char *arguments : {"--help", "import --help", "export -h", "formats --help", "--version"}) {
        const CommandResult result = run_command(words(arguments));
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_NE(result.out.find("vordta"), std::string::npos) << result.out;
        EXPECT_EQ(result.out.find("\nExamples:\n    vordta ") == std::string::npos, words(arguments)[0] == "--version")
            << result.out;
    }
}

} // namespace
} // namespace vor::test
