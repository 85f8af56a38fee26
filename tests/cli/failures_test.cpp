// How the command fails: one ERROR line, the exit status, and nothing left behind.
#include "command_test.h"
#include "packed_bytes.h"

#include <filesystem>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vor::test {
namespace {

struct FailingCase {
    const char *line;
    int status;
    const char *part; // of the ERROR line
};

const FailingCase usage_cases[] = {
    {"", 2, "The commands are import, export"},
    {"nothing", 2, "\"nothing\" is no command. The commands are import"},
    {"heda visits.dta", 2, "\"heda\" is no command. Did you mean head?"},
    {"help desc", 2, "Did you mean describe?"},
    {"--quiet import visits.dta -", 2, "--quiet stands behind the command"},
    {"head visits.dta --lables text", 2, "--lables is no option of vordta head. Did you mean --labels?"},
    {"head --jsn", 2, "--jsn is no option of vordta head. (vordta"},
    {"head visits.dta -q -v", 2, "--quiet"},
    {"import", 2, "FILE"},
    {"import visits.dta", 2, "DEST"},
    {"import visits.dta o.csv more", 2, "more"},
    {"import visits.dta folder.dta o.csv", 2, "o.csv takes one Stata file"},
    {"import visits.dta folder.dta -", 2, "Standard output takes one"},
    {"import visits.dta folder.dta o.db:a", 2, "write o.db alone"},
    {"import visits.dta folder.dta folder.dta/VISITS o.db", 2, "VISITS"},
    {"import visits.dta - o.db", 2, "o.db:DATASET"},
    {"import - l.db", 2, "l.db:DATASET"},
    {"import v.csv o.dta", 2, "vordta export v.csv o.dta"},
    {"import v.csv o.db", 2, "v.csv is no Stata file"},
    {"import good.db o.csv", 2, "good.db is no Stata file"},
    {"import visits.dta o.csv --log visits.dta", 2, "the log needs one"},
    {"import visits o.csv --log ./visits.dta", 2, "the log needs one"},
    {"import visits.dta good.db:new --log good.db", 2, "--log and good.db:new name the same file"},
    {"export good.db:visits o.dta --log o.dta", 2, "the log needs one"},
    {"import visits.dta o.csv --fmtlib F --libname F=good.db --log good.db", 2, "F=good.db name the same file"},
    {"import visits.dta o.csv --schema visits.dta", 2, "--schema and FILE name the same file"},
    {"export visits.dta o.csv", 2, "vordta import visits.dta o.csv"},
    {"import visits.dta o.dta", 2, "write NAME.csv"},
    {"export visits.dta o.dta", 2, "write NAME.csv"},
    {"import visits.dta - --keep id,ID", 2, "visits.dta has no variable ID. Did you mean id?"},
    {"import visits.dta - --keep id --drop x", 2, "--drop"},
    {"import visits.dta - --keep id,,x", 2, "lacks a name"},
    {"import visits.dta - --rows 0:5", 2, "number 1"},
    {"import visits.dta - --rows 5:4", 2, "before the first"},
    {"import visits.dta - --rows 5", 2, "FIRST:LAST"},
    {"import visits.dta - --rows :", 2, "FIRST:LAST"},
    {"import visits.dta - --rows 1:2x", 2, "FIRST:LAST"},
    {"head visits.dta --rows 1:99999999999999999999", 2, "FIRST:LAST"},
    {"head good.db --keep id,no", 2, "good.db:visits has no variable no; it has id"},
    {"head visits.dta --keep id-nota", 2, "no variable id-nota"},
    {"import visits.dta other.dta both.db --keep x,y", 2, "None of the files has a variable y"},
    {"import visits.dta other.dta both.db --keep x", 2, "other.dta has none of the variables of --keep"},
    {"export two.db o.dta", 2, "more, visits"},
    {"diff visits.dta", 2, "B is required"},
    {"diff - -", 2, "holds one data set"},
    {"head good.db --encoding latin1", 2, "--encoding"},
    {"export good.db o.dta --encoding latin1", 2, "--encoding"},
    {"export v.csv o.dta --encoding no-such-thing", 2, "no-such-thing is not known"},
    {"describe good.db --validvarname v7", 2, "--validvarname"},
    {"describe two.db", 2, "more, visits"},
    {"import visits.dta o.txt", 2, "o.txt"},
    {"import visits.dta o.db:", 2, "colon"},
    {"import visits.dta o.sqlite.zip:visits", 2, "cannot be compressed; name it"},
    {"import visits.dta - --limit -1", 2, "-1 is no number of observations"},
    {"import visits.dta - --labels some", 2, "labels"},
    {"import visits.dta - --encoding no-such-thing", 2, "no-such-thing"},
    {"import visits.dta - --session-encoding no-such-thing", 2, "no-such-thing"},
    {"import visits.dta - --fmtlib F.CAT", 2, "--libname F=PATH"},
    {"import visits.dta - --fmtlib F.CAT.MORE", 2, "F.CAT.MORE"},
    {"import visits.dta - --fmtlib NINELETTR", 2, "NINELETTR"},
    {"import visits.dta - --libname F", 2, "LIBRARY=PATH"},
    {"import visits.dta - --libname F= --fmtlib F", 2, "LIBRARY=PATH"},
    {"import visits.dta o.db --libname dest=p.db", 2, "DEST"},
    {"import visits.dta o.db --raw", 2, "--raw"},
    {"import visits.dta o.db --labels text", 2, "--labels"},
    {"import visits.dta o.db --schema o.json", 2, "--schema"},
    {"import visits.dta o.csv --labels text --schema o.json", 2, "--schema"},
    {"import visits.dta o.csv --schema ./o.csv", 2, "the same file"},
    {"import visits.dta o.csv --labels both --value-labels off", 2, "--value-labels"},
    {"import visits.dta o.db:vor_formats", 2, "vor_"},
    {"export good.db:visits o.dta --schema v.json", 2, "--schema"},
    {"export good.txt o.dta", 2, "good.txt"},
    {"export v.csv o.dta --raw", 2, "--raw"},
    {"describe ragged.csv", 2, "ragged.csv is no Stata file"},
    {"formats visits.dta", 2, "visits.dta"},
};

const FailingCase conversion_cases[] = {
    {"import damaged.dta o.csv", 1, "damaged.dta"},
    {"import damaged.dta old.csv", 1, "damaged.dta"},
    {"import damaged.dta o.db", 1, "damaged.dta"},
    {"import damaged.dta -", 1, "damaged.dta"},
    {"export ragged.csv o.dta", 1, "ragged.csv"},
    {"export v.csv o.dta --schema bad.json", 1, "bad.json"},
    {"export ragged.csv o.dta --schema v.json", 1, "ragged.csv"},
    {"export good.db:nothing o.dta", 1, "no data set nothing; it has visits."},
    {"describe good.db:nothing", 1, "nothing"},
    {"formats good.db:none", 1, "none"},
    {"formats good.db none", 1, "none"},
    {"import visits.dta text.db", 1, "text.db"},
};

const FailingCase machine_cases[] = {
    {"import nothing.dta o.csv", 3, "No such file"},
    {"import nothing o.db", 3, "nothing.dta cannot be read: No such file"},
    {"import folder.dta o.csv", 3, "directory"},
    {"import visits.dta none/o.csv", 3, "No such file"},
    {"import visits.dta none/o.csv.gz", 3, "No such file"},
    {"import visits.dta none/o.db", 3, "none/o.db"},
    {"import visits.dta o.csv --schema none/o.json", 3, "none/o.json"},
    {"import visits.dta - --log none/log.txt", 3, "none/log.txt"},
    {"import visits.dta - --log /dev/full", 3, "No space left"},
    {"export v.csv none/o.dta", 3, "No such file"},
    {"export v.csv none/o.dta.gz", 3, "No such file"},
    {"export none.csv o.dta", 3, "No such file"},
    {"export none.db:a o.dta", 3, "none.db"},
    {"export v.csv o.dta --schema none.json", 3, "none.json"},
    {"head nothing.dta", 3, "No such file"},
    {"diff visits.dta nothing.dta", 3, "No such file"},
    {"formats none.db", 3, "none.db"},
};

class Failures : public CommandTest {
  protected:
    Failures() {
        scratch.write("visits.dta.gz", packed(".gz", {{"", visits_file()}}));
        scratch.write("ragged.csv", "id,day,at,x,note\n1,2,3,4,5\n1,2\n");
        scratch.write("text.db", old_library);
        scratch.write("bad.json", "{\"variables\": 5}");
        scratch.write("old.csv", "old\n");
        scratch.write("other.dta", build({.variables = {{.name = "id"}, {.name = "v1"}}}));
        std::filesystem::create_directory(scratch.path("folder.dta"));
        output_of("import visits.dta good.db");
        output_of("import visits.dta two.db");
        output_of("import visits.dta two.db:more");
        output_of("import visits.dta v.csv --schema v.json");
    }
    ~Failures() {
        EXPECT_EQ(bytes("old.csv"), "old\n");
        EXPECT_EQ(bytes("text.db"), old_library);
    }

    const std::string old_library = std::string(5000, 'x');
};

TEST_F(Failures, OneErrorLineAndNothingElse) {
    for (const std::span<const FailingCase> cases :
         std::initializer_list<std::span<const FailingCase>>{usage_cases, conversion_cases, machine_cases})
        for (const FailingCase &one : cases)
            expect_failure(one.line, one.status, one.part);
    if (geteuid() != 0) { // nothing is unreadable for root
        std::filesystem::permissions(scratch.path("visits.dta"), std::filesystem::perms::none);
        expect_failure("import visits.dta o.csv", 3, "Permission denied");
        // SQLite wants to put files beside a library in this mode, also when it only reads.
        sqlite3 *client = nullptr;
        ASSERT_EQ(sqlite3_open(scratch.path("good.db").c_str(), &client), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(client, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(client);
        const std::string shown = output_of("head good.db");
        std::filesystem::permissions(scratch.path(""),
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        std::filesystem::permissions(scratch.path("good.db"), std::filesystem::perms::owner_read);
        EXPECT_EQ(output_of("head good.db"), shown);
        std::filesystem::permissions(scratch.path(""), std::filesystem::perms::owner_all);
    }
}

TEST_F(Failures, StandardOutputThatTakesNothing) {
    for (const char *line : {"import visits.dta -", "export v.csv -", "describe visits.dta", "head visits.dta",
                             "formats good.db", "--help"}) {
        expect_failure(line, 3, "No space left", {.output_path = "/dev/full"});
        const CommandResult left = run(line, {.closed_output = true});
        EXPECT_EQ(left.status, 128 + SIGPIPE) << line;
        EXPECT_TRUE(left.lines("ERROR: ").empty()) << left.err;
    }
}

TEST_F(Failures, AStataFileIsNoTextForATerminal) {
    expect_failure("export v.csv -", 2, "no text for a terminal", {.output_path = "/dev/ptmx"});
    expect_failure("export v.csv /dev/ptmx", 2, "no text for a terminal");
}

// The largest file that a process may write stands for a disk that is full: every write beyond it fails.
TEST_F(Failures, FullDisk) {
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    for (const char *line :
         {"import visits.dta o.csv", "import visits.dta o.db", "export v.csv o.dta", "import visits.dta old.csv",
          "import visits.dta.gz o.csv", "import visits.dta o.csv.xz", "export v.csv o.dta.gz"}) {
        for (const rlim_t most_bytes : {0, 100}) {
            const rlimit limit{.rlim_cur = most_bytes, .rlim_max = old.rlim_max};
            setrlimit(RLIMIT_FSIZE, &limit);
            expect_failure(line, 3, "", {.terminal = true}); // standard error is a terminal, which has no size
            setrlimit(RLIMIT_FSIZE, &old);
        }
    }
}

// Whichever write of an import is the first that no longer fits: labels, rows, or the end.
TEST_F(Failures, AFullDiskLeavesTheOldDataSet) {
    StataFile file{.release = 118};
    for (int i = 0; i < 30; ++i) {
        const std::string table = "t" + std::to_string(i);
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte, .value_label = table});
        std::vector<LabelEntry> labels;
        for (int value = 0; value < 1500; ++value)
            labels.push_back({value, "a label of some length, number " + std::to_string(value)});
        file.value_labels.push_back({.name = table, .entries = labels});
    }
    file.rows.assign(300, Row(30, Cell(1)));
    scratch.write("labelled.dta", build(file));
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    int failed = 0;
    for (rlim_t kilobytes = 96; kilobytes <= 2000; kilobytes += 400) {
        std::filesystem::remove(scratch.path("disk.db"));
        ASSERT_EQ(run("import visits.dta disk.db:kept").status, 0);
        const std::string before = run("export disk.db:kept - --quiet").out;
        const rlimit limit{.rlim_cur = kilobytes << 10, .rlim_max = old.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        const int status = run("import labelled.dta disk.db:kept", {.terminal = true}).status;
        setrlimit(RLIMIT_FSIZE, &old);
        EXPECT_TRUE(status == 0 || status == 3) << status;
        failed += status != 0 ? 1 : 0;
        EXPECT_EQ(run("export disk.db:kept - --quiet").out == before, status != 0) << kilobytes << " KB";
    }
    EXPECT_GT(failed, 2);
}

TEST_F(Failures, HelpAndVersionAreNoFailures) {
    for (const std::string line :
         {"--help", "help", "help diff", "import --help", "export -h", "formats --help", "--version", "-V"}) {
        const CommandResult result = run(line);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_NE(result.out.find("vordta"), std::string::npos) << result.out;
        EXPECT_EQ(result.out.find("\nExamples:\n    vordta ") == std::string::npos, line == "--version" || line == "-V")
            << result.out;
    }
}

} // namespace
} // namespace vor::test
