// Delimited text: the bytes written, what is read from other people's bytes, and what is refused in which words.
#include "tables_in_memory.h"

#include <vorhost/tables.h>

#include <csignal>
#include <fcntl.h>
#include <limits>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vor::test {
namespace {

using namespace std::string_literals;

Table every_kind() {
    Table table;
    table.description.variables = {numeric("n"), numeric("day", "MMDDYY10."), numeric("at", "DATETIME20."),
                                   numeric("t", "TIME8."), character("s", 12)};
    const double none = missing_value('.');
    table.rows = {{0.1, 14669, 14669.0 * 86400 + 45296.5, 45296, "plain"},
                  {missing_value('A'), missing_value('_'), none, missing_value('Z'), ""},
                  {-0.0, 0.5, 1e15, -1, "a,b"},
                  {1e300, 3e6, 5e-324, 86399.25, "say \"hi\""},
                  {std::numeric_limits<double>::infinity(), -1, -0.0, 0, "two\nlines"},
                  {none, none, none, none, " \xC3\xA9\t;"}};
    return table;
}

std::string written(const Table &table, const DelimitedOptions &options = {}) {
    const Scratch scratch;
    put(*delimited_sink(scratch.file("out.csv"), options), table);
    EXPECT_EQ(scratch.files(), std::vector<std::string>{"out.csv"});
    return scratch.read("out.csv");
}

TEST(DelimitedSink, Bytes) {
    EXPECT_EQ(written(every_kind()), "n,day,at,t,s\n"
                                     "0.1,2000-02-29,2000-02-29T12:34:56.5,12:34:56,plain\n"
                                     ".a,._,,.z,\n"
                                     "-0,0.5,1e+15,-1,\"a,b\"\n"
                                     "1e+300,3e+06,5e-324,23:59:59.25,\"say \"\"hi\"\"\"\n"
                                     "inf,1959-12-31,-0,00:00:00,\"two\nlines\"\n"
                                     ",,,, \xC3\xA9\t;\n");
    DelimitedOptions raw;
    raw.raw = true;
    raw.separator = '\t';
    Table table = every_kind();
    table.rows = {table.rows[0], table.rows[2], table.rows[5]};
    EXPECT_EQ(written(table, raw), "n\tday\tat\tt\ts\n"
                                   "0.1\t14669\t1267446896.5\t45296\tplain\n"
                                   "-0\t0.5\t1e+15\t-1\ta,b\n"
                                   "\t\t\t\t\" \xC3\xA9\t;\"\n");
}

TEST(DelimitedSink, ShapesThatHaveNoFields) {
    Table table;
    EXPECT_EQ(written(table), "\n") << "no variables";
    table.description.variables = {character("a\"b", 3)};
    table.rows = {{"x"}, {""}, {"\r"}};
    EXPECT_EQ(written(table), "\"a\"\"b\"\nx\n\"\"\n\"\r\"\n") << "an empty line would not count";
    table.description.variables = {numeric("n")};
    table.rows = {{missing_value('.')}, {missing_value('B')}};
    EXPECT_EQ(written(table), "n\n\"\"\n.b\n");
}

TEST(DelimitedSink, LabelsInPlaceAndBeside) {
    const UserFormat answers{"YN",
                             ValueKind::numeric,
                             false,
                             {{missing_value('A'), missing_value('A'), {"refused"}}, {1.0, 1.0, {"yes, sir"}}},
                             8};
    Table table;
    table.description.variables = {numeric("q", "YN."), numeric("q_label"), numeric("p", "OTHER.")};
    table.rows = {{1, 5, 1}, {2, 6, 2}, {missing_value('A'), 7, 3}, {missing_value('.'), 8, 4}};
    DelimitedOptions options;
    options.formats = [&](const std::string &name) { return name == "YN" ? &answers : nullptr; };
    EXPECT_EQ(written(table, options), "q,q_label,p\n1,5,1\n2,6,2\n.a,7,3\n,8,4\n");
    options.labels = LabelForm::text;
    EXPECT_EQ(written(table, options), "q,q_label,p\n\"yes, sir\",5,1\n2,6,2\nrefused,7,3\n,8,4\n");
    options.labels = LabelForm::both;
    EXPECT_EQ(written(table, options), "q,q_label_2,q_label,p\n1,\"yes, sir\",5,1\n2,,6,2\n.a,refused,7,3\n,,8,4\n");
}

TEST(DelimitedSink, AppearsOnlyWhenComplete) {
    const Scratch scratch;
    scratch.write("out.csv", "old");
    chmod(scratch.file("out.csv").c_str(), 0640);
    {
        const auto sink = delimited_sink(scratch.file("out.csv"), {});
        put_rows(*sink, every_kind());
        EXPECT_EQ(scratch.read("out.csv"), "old");
    }
    EXPECT_EQ(scratch.read("out.csv"), "old");
    EXPECT_EQ(scratch.files(), std::vector<std::string>{"out.csv"});
    symlink("out.csv", scratch.file("link.csv").c_str());
    put(*delimited_sink(scratch.file("link.csv"), {}), {{{}, {}, {numeric("n")}, 0}, {{1}}});
    EXPECT_EQ(scratch.read("out.csv"), "n\n1\n") << "the file that a link names is replaced";
    struct stat status {};
    EXPECT_EQ(stat(scratch.file("out.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U) << "a replaced file keeps its permissions";
}

TEST(DelimitedSink, SaysWhyItCannotWrite) {
    const Scratch scratch;
    const auto failing = [&](const std::string &path) {
        return sentence_of([&] { put(*delimited_sink(path, {}), every_kind()); });
    };
    EXPECT_EQ(failing(scratch.file("none/out.csv")),
              "m: " + scratch.file("none/out.csv") + " cannot be written: No such file or directory.");
    EXPECT_EQ(failing(scratch.file(".")), "m: " + scratch.file(".") + " cannot be written: Is a directory.");
    EXPECT_EQ(failing("/dev/full"), "m: /dev/full cannot be written: No space left on device.");

    const rlimit small{64, RLIM_INFINITY};
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string sentence = failing(scratch.file("out.csv"));
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(sentence, "m: " + scratch.file("out.csv") + " cannot be written: File too large.");
    EXPECT_TRUE(scratch.files().empty());
}

struct ReadBack {
    Table table;
    std::vector<std::string> notes;
};

ReadBack read_text(std::string_view bytes, const Schema *schema = nullptr, char separator = ',') {
    const Scratch scratch;
    ReadBack back;
    const auto source = delimited_source(scratch.write("in.csv", bytes), separator, schema,
                                         [&](const std::string &note) { back.notes.push_back(note); });
    back.table = collect(*source);
    if (!schema) {
        EXPECT_EQ(back.table.description.observations, static_cast<int64_t>(back.table.rows.size()));
    }
    return back;
}

TEST(DelimitedSource, TypesFoundFromValues) {
    const double none = missing_value('.');
    const struct {
        const char *what;
        std::string text; // of a column "x" and a column "y" of no interest
        Variable variable;
        std::vector<Cell> values;
    } cases[] = {
        {"numbers",
         "x,y\n1,\n-2.5,\n 3 ,\n,\n.,\n.a,\n._,\n",
         numeric("x"),
         {1, -2.5, 3, none, none, missing_value('A'), missing_value('_')}},
        {"nothing but missing values", "x,y\n,\n.b,\n", numeric("x"), {none, missing_value('B')}},
        {"no rows", "x,y\n", numeric("x"), {}},
        {"dates",
         "x,y\n2000-02-29,\n,\n1960-01-02,\n.z,\n",
         numeric("x", "E8601DA10."),
         {14669, none, 1, missing_value('Z')}},
        {"date-times", "x,y\n1960-01-01T00:00:01.5,\n", numeric("x", "E8601DT26.6"), {1.5}},
        {"times", "x,y\n00:01:00,\n", numeric("x", "E8601TM15.6"), {60}},
        {"a date among date-times",
         "x,y\n1960-01-01T00:00:01,\n1960-01-01,\n",
         character("x", 19),
         {"1960-01-01T00:00:01", "1960-01-01"}},
        {"a date that is none", "x,y\n2000-02-29,\n2001-02-29,\n", character("x", 10), {"2000-02-29", "2001-02-29"}},
        {"text after numbers keeps the numbers' text",
         "x,y\n007,\n.a,\nten\xC3\xA9,\n  ,\n",
         character("x", 5),
         {"007", ".a", "ten\xC3\xA9", ""}},
        {"blanks in front stay, those behind go", "x,y\n  a  ,\n", character("x", 3), {"  a"}},
        {"a number beyond a double", "x,y\n1e999,\n", character("x", 5), {"1e999"}},
        {"infinities",
         "x,y\ninf,\n-inf,\n",
         numeric("x"),
         {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}},
        {"quotes", "x,y\n\"a,\"\"b\"\"\n\r\nc\",\n\"\",\n\"1\",\n", character("x", 9), {"a,\"b\"\n\r\nc", "", "1"}},
        {"quoted numbers", "\"x\",y\n\"1\",\n2,\n", numeric("x"), {1, 2}},
        {"carriage returns, empty lines, no last line end", "x,y\r\n\r\n1,\r\r2,\n\n\n3,", numeric("x"), {1, 2, 3}},
        {"a byte order mark, blanks around names", "\xEF\xBB\xBF x ,y\n1,\n", numeric("x"), {1}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.what);
        const auto [table, notes] = read_text(row.text);
        Variable expected = row.variable;
        if (expected.kind == ValueKind::character)
            expected.format = expected.informat = {};
        ASSERT_EQ(table.description.variables.size(), 2U);
        EXPECT_EQ(table.description.variables[0], expected);
        std::vector<Cell> values;
        for (const auto &cells : table.rows)
            values.push_back(cells[0]);
        EXPECT_EQ(values, row.values);
        EXPECT_TRUE(notes.empty());
    }
}

TEST(DelimitedSource, NamesAndIntegers) {
    EXPECT_TRUE(read_text("\n").table.description.variables.empty()) << "no variables, as the sink writes it";
    const auto [table, notes] = read_text("id\tx\n9007199254740993\t9007199254740992\n1\t-36893488147419103232\n"
                                          "9007199254740995\t.5\n",
                                          nullptr, '\t');
    EXPECT_EQ(table.rows[0][0], Cell(9007199254740992.0));
    EXPECT_EQ(notes, std::vector<std::string>{"Column id holds 2 integers beyond 9007199254740992 that a double cannot "
                                              "hold exactly, the first in row 1."});
}

TEST(DelimitedSource, RefusesWithPlaceAndReason) {
    const struct {
        std::string text;
        const char *sentence; // after the file's name
    } cases[] = {
        {"", " is empty; a first line with the names of the columns was expected."},
        {"a,,c\n", ": the names (line 1), column 2: the column has no name."},
        {"a,b,a\n1,2,3\n", ": the names (line 1), column 3: the name a is also that of column 1."},
        {"a,b\n1,2\n\n1,2,3\n", ": row 2 (line 4): 3 fields were found where 2 were expected, one for each name."},
        {"a,b\n1\n", ": row 1 (line 2): 1 fields were found where 2 were expected, one for each name."},
        {"a,b\n\"x\ny\",1\n1,5\" disk\n",
         ": row 2 (line 4), column 2 holds a stray quote. A field with a quote is written in quotes, with every quote "
         "inside doubled."},
        {"a,b\n\"x\" ,1\n",
         ": row 1 (line 2), column 1 holds a stray quote. A field with a quote is written in quotes, "
         "with every quote inside doubled."},
        {"a,b\n1,\"x\n2,3\n", ": row 1 (line 2), column 2 begins with a quote that never ends."},
        {"a,b\r\n1,x\r\n2,\xC3(\r\n", ": row 2 (line 3), column 2 (b): the text holds bytes that are not UTF-8."},
        {"a,\xFF\n", ": the names (line 1), column 2: the text holds bytes that are not UTF-8."},
        {"a,b\n1,x\0y\n"s, ": row 1 (line 2), column 2 (b): the text holds a NUL byte."},
        {"\xFF\xFE"
         "a\0\n\0"s,
         " is UTF-16 text; UTF-8 was expected."},
    };
    for (const auto &row : cases) {
        const Scratch scratch;
        const std::string path = scratch.write("in.csv", row.text);
        EXPECT_EQ(sentence_of([&] { collect(*delimited_source(path, ',', nullptr)); }), "c: " + path + row.sentence);
    }
    EXPECT_EQ(sentence_of([] { delimited_source("/nowhere/x.csv", ',', nullptr); }),
              "m: /nowhere/x.csv cannot be read: No such file or directory.");
}

TEST(DelimitedSource, NoticesAFileThatChanges) {
    const struct {
        const char *now;
        const char *sentence;
    } cases[] = {
        {"a,b\nz,xy\n3,x\n", ", column 1 (a): \"z\" is not a number. The file changed while it was read."},
        {"a,b\n1,xyz\n3,x\n",
         ", column 2 (b): the text has 3 bytes, 2 were expected at most. The file changed while it was read."},
        {"a,b\n1,xy\n", " changed while it was read: it had 2 rows, now it has 1."},
        {"a,b\n1,xy\n3,x\n4,x\n", " changed while it was read: it had 2 rows, now it has 3."},
    };
    for (const auto &row : cases) {
        const Scratch scratch;
        // The source holds the first lines in its buffer, so the rows are kept apart by a megabyte and a half.
        const std::string gap(3 << 19, '\n');
        const std::string path = scratch.write("in.csv", "a,b\n" + gap + "1,xy\n3,x\n");
        const auto source = delimited_source(path, ',', nullptr);
        const std::string now(row.now);
        scratch.write("in.csv", "a,b\n" + gap + now.substr(4));
        const std::string sentence = sentence_of([&] { collect(*source); });
        EXPECT_TRUE(sentence.ends_with(row.sentence)) << sentence;
    }
}

TEST(DelimitedSource, RecordsAcrossBufferEnds) {
    std::string text = "a,b\r\n";
    Cells expected;
    while (text.size() < 5 << 20) {
        const size_t length = expected.size() * 7919 % 3000;
        const std::string filler = (expected.size() % 3 == 0 ? "\"," : "x") + std::string(length, 'q');
        const std::string number = std::to_string(expected.size());
        text += number + (expected.size() % 3 == 0 ? ",\"\"\"," + filler.substr(2) + "\"\r\n" : "," + filler + "\r\n");
        expected.push_back({static_cast<int>(expected.size()), filler});
    }
    const std::string long_line(3 << 20, 'z');
    text += "1," + long_line + "\r\n2,end";
    expected.push_back({1, long_line});
    expected.push_back({2, "end"});
    EXPECT_TRUE(read_text(text).table.rows == expected);
}

TEST(DelimitedSource, ManyColumns) {
    std::string names = "c0";
    std::string values = "0";
    for (int i = 1; i < 40000; ++i) {
        names += ",c" + std::to_string(i);
        values += "," + std::to_string(i);
    }
    const auto table = read_text(names + "\n" + values + "\n").table;
    EXPECT_EQ(table.description.variables.size(), 40000U);
    EXPECT_EQ(table.rows.at(0).at(39999), Cell(39999));
}

TEST(DelimitedSource, StandardInputIsKept) {
    const Scratch scratch;
    const int input = open(scratch.write("in.csv", "a,b\n1,x\n2,y\n").c_str(), O_RDONLY);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "a,b\n1,x\n2,y\n", 12), 12);
    close(ends[1]);
    const int old = dup(STDIN_FILENO);
    for (const int descriptor : {ends[0], input}) {
        dup2(descriptor, STDIN_FILENO);
        close(descriptor);
        EXPECT_EQ(collect(*delimited_source("-", ',', nullptr)).rows, (Cells{{1, "x"}, {2, "y"}}));
    }
    dup2(old, STDIN_FILENO);
    close(old);
}

} // namespace
} // namespace vor::test
