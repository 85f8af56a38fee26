// What the names on the command line may stand for: files of any name, pipes, devices, links, and files of other kinds.
#include "command_test.h"
#include "packed_bytes.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace vor::test {
namespace {

namespace fs = std::filesystem;

class NamedFiles : public CommandTest {
  protected:
    NamedFiles() { output_of("import visits.dta v.csv --schema v.json"); }

    void link(const std::string &to, const std::string &name) const { fs::create_symlink(to, scratch.path(name)); }
    void pipe(const std::string &name) const { ASSERT_EQ(mkfifo(scratch.path(name).c_str(), 0600), 0); }

    // What comes out of a pipe while the command runs.
    std::string through(const std::string &name, const std::string &line) const {
        std::string got;
        std::thread reader([&] { got = file_bytes(scratch.path(name)); });
        output_of(line);
        reader.join();
        return got;
    }
};

TEST_F(NamedFiles, InputsOfAnyName) {
    std::string deep; // longer than the module's names
    for (int i = 0; i < 6; ++i)
        deep += std::string(200, static_cast<char>('a' + i)) + "/";
    fs::create_directories(scratch.path(deep));
    fs::create_directory(scratch.path("both"));
    for (const std::string name :
         {"t.sav", "plain", "star*.dta", "what?.dta", " first.dta", "UPPER.DTA", "both.dta", "stem", "in.csv.dta"}) {
        scratch.write(name, visits_file());
        EXPECT_EQ(output_of("import '" + name + "' -"), visits_csv) << name;
    }
    scratch.write(deep + "v.dta", visits_file());
    for (const std::string &name : {deep + "v.dta", deep + "v", std::string("both"), std::string("in.csv")})
        EXPECT_EQ(output_of("head " + name), output_of("head visits.dta")) << name;
    output_of("export v.csv o.dta");
    output_of("export v.csv " + deep + "o.dta");
    output_of("export v.csv star*");
    EXPECT_EQ(bytes(deep + "o.dta"), bytes("o.dta"));
    EXPECT_EQ(bytes("star*.dta"), bytes("o.dta"));
}

TEST_F(NamedFiles, PipesAndDevices) {
    EXPECT_EQ(output_of("import /dev/stdin -", {.input = visits_file()}), visits_csv);

    for (const char *name : {"in.dta", "in.csv", "out.csv", "out.dta", "out.dta.gz"})
        pipe(name);
    output_of("export v.csv o.dta");
    const struct {
        std::string pipe, content, line, output;
    } inputs[] = {{"in.dta", visits_file(), "import in.dta -", visits_csv},
                  {"in.csv", visits_csv, "export in.csv -", bytes("o.dta")}};
    for (const auto &one : inputs) {
        std::thread writer([&] { std::ofstream(scratch.path(one.pipe)) << one.content; });
        EXPECT_EQ(output_of(one.line), one.output);
        writer.join();
    }
    EXPECT_EQ(through("out.csv", "import visits.dta out.csv"), visits_csv);
    EXPECT_EQ(through("out.dta", "export v.csv out.dta"), bytes("o.dta"));
    EXPECT_EQ(unpacked(through("out.dta.gz", "export v.csv out.dta.gz")).at(0).bytes, bytes("o.dta"));
    link("/dev/null", "null.dta");
    output_of("export v.csv null.dta");
    EXPECT_TRUE(fs::is_symlink(scratch.path("null.dta")));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(NamedFiles, LinksAreFollowed) {
    fs::create_directory(scratch.path("away"));
    const struct {
        std::string start, name;
    } cases[] = {{"import visits.dta ", "o.csv"}, {"import visits.dta ", "o.db"}, {"export v.csv ", "o.dta"}};
    for (const auto &[start, name] : cases) {
        link("away/" + name, name); // of which there is none yet
        output_of(start + name);
        EXPECT_TRUE(fs::is_symlink(scratch.path(name))) << name;
        EXPECT_TRUE(fs::is_regular_file(scratch.path("away/" + name))) << name;
        link("round" + name, "round" + name);
        expect_failure(start + "round" + name, 3, "Too many levels");
    }
    EXPECT_EQ(bytes("o.csv"), visits_csv);
}

TEST_F(NamedFiles, FilesOfOtherKinds) {
    fs::create_directory(scratch.path("folder.dta"));
    output_of("import visits.dta l.db");
    const struct {
        std::string content, part;
    } cases[] = {
        {visits_csv, "is text, such as CSV; a Stata file was expected."},
        {packed(".gz", {{"", visits_csv}}), "is text, such as CSV"},
        {packed(".zip", {{"[Content_Types].xml", "<a/>"}, {"xl/workbook.xml", "<a/>"}}), "Excel"},
        {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1" + std::string(500, '\0'), "Excel"},
        {"$FL2@(#)" + std::string(500, '\0'), "an SPSS file"},
        {"PAR1" + std::string(500, '\0'), "a Parquet file"},
        {bytes("l.db"), "a SQLite library"},
    };
    for (const auto &[content, part] : cases) {
        scratch.write("other.dta", content);
        expect_failure("import other.dta -", 1, part);
    }
    scratch.write("s.csv", visits_file());
    expect_failure("export s.csv -", 1, "s.csv is a Stata file; delimited text was expected.");
    expect_failure("export v.csv - --schema visits.dta", 1, "visits.dta is a Stata file; a schema was expected.");
    expect_failure("import folder.dta -", 3, "folder.dta is a directory; a Stata file was expected.");
}

// No run may write over what it reads, or twice into one file.
TEST_F(NamedFiles, OneFileUnderTwoNames) {
    output_of("import visits.dta q.db");
    link("visits.dta", "i.csv");
    link("visits.dta", "l.json");
    link("q.db", "q.dta");
    link("new", "n.csv"); // both of a file that is not there
    link("new", "n.json");
    fs::create_hard_link(scratch.path("visits.dta"), scratch.path("hard"));
    for (const char *line :
         {"import visits.dta i.csv", "import visits i.csv", "import visits.dta o.csv --schema l.json",
          "import visits.dta o.csv --log hard", "import visits.dta n.csv --schema n.json", "export q.db q.dta",
          "export q.db q", "import visits.dta o.db --libname X=visits.dta"}) {
        expect_failure(line, 2, "name the same file");
        EXPECT_EQ(bytes("visits.dta"), visits_file()) << line;
    }
    output_of("import visits.dta visits.csv");
    EXPECT_EQ(bytes("visits.csv"), visits_csv);
}

TEST_F(NamedFiles, FailedRunsKeepEveryOutput) {
    link("/dev/full", "full.csv");
    const std::string old = bytes("v.json");
    expect_failure("import visits.dta full.csv --schema v.json --raw --keep id", 3, "No space left");
    EXPECT_EQ(bytes("v.json"), old);
    output_of("import visits.dta v.csv --schema v.json --keep id");
    EXPECT_NE(bytes("v.json"), old);
    EXPECT_EQ(bytes("v.csv"), "id\n1\n2\n.a\n");
}

// The log's lines may not land in the first file that is opened.
TEST_F(NamedFiles, ClosedStandardStreams) {
    output_of("export v.csv whole.dta");
    EXPECT_EQ(run("export v.csv o.dta", {.closed = true}).status, 0);
    EXPECT_EQ(bytes("o.dta"), bytes("whole.dta"));
}

} // namespace
} // namespace vor::test
