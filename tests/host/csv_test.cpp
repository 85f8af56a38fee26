// Delimited text: the bytes written, what is read from other people's bytes, and what is refused in which words.
#include "collected_import.h"
#include "tables_in_memory.h"

#include <vorhost/tables.h>

#include <limits>
#include <sys/stat.h>

namespace vor::test {
namespace {

using namespace std::string_literals;

constexpr double infinity = std::numeric_limits<double>::infinity();
const double none = missing_value('.');

Table every_kind() {
    Table table;
    table.description.variables = {numeric("n"), numeric("day", "MMDDYY10."), numeric("at", "DATETIME20."),
                                   numeric("t", "TIME8."), character("s", 12)};
    table.rows = {{0.1, 14669, 14669.0 * 86400 + 45296.5, 45296, "plain"},
                  {missing_value('A'), missing_value('_'), none, missing_value('Z'), ""},
                  {-0.0, 0.5, 1e15, -1, "a,b"},
                  {1e300, 3e6, 5e-324, 86399.25, "say \"hi\""},
                  {infinity, -1, -0.0, 0, "two\nlines"},
                  {none, none, none, none, " \xC3\xA9\t;"}};
    return table;
}

std::string written(const Table &table, const DelimitedOptions &options = {}) {
    const ScratchDirectory scratch;
    put(*delimited_sink(scratch.path("out.csv"), options), table);
    return file_bytes(scratch.path("out.csv"));
}

TEST(DelimitedSink, Bytes) {
    EXPECT_EQ(written(every_kind()), "n,day,at,t,s\n"
                                     "0.1,2000-02-29,2000-02-29T12:34:56.5,12:34:56,plain\n"
                                     ".a,._,,.z,\n"
                                     "-0,0.5,1000000000000000,-1,\"a,b\"\n"
                                     "1e+300,3000000,5e-324,23:59:59.25,\"say \"\"hi\"\"\"\n"
                                     "inf,1959-12-31,-0,00:00:00,\"two\nlines\"\n"
                                     ",,,, \xC3\xA9\t;\n");
    DelimitedOptions raw;
    raw.raw = true;
    raw.separator = '\t';
    Table table = every_kind();
    table.rows = {table.rows[0], table.rows[5]};
    EXPECT_EQ(written(table, raw), "n\tday\tat\tt\ts\n"
                                   "0.1\t14669\t1267446896.5\t45296\tplain\n"
                                   "\t\t\t\t\" \xC3\xA9\t;\"\n");
    EXPECT_EQ(written({}), "\n") << "no variables";
    table.description.variables = {character("a\"b", 3)};
    table.rows = {{"x"}, {""}, {"\r"}};
    EXPECT_EQ(written(table), "\"a\"\"b\"\nx\n\"\"\n\"\r\"\n") << "an empty line would not count";
}

TEST(DelimitedSink, LabelsInPlaceAndBeside) {
    const double refused = missing_value('A');
    const UserFormat answers{.name = "YN", .ranges = {{refused, refused, {"refused"}}, {1.0, 1.0, {"yes, sir"}}}};
    Table table;
    table.description.variables = {numeric("q", "YN."), numeric("q_label"), numeric("p", "OTHER.")};
    table.rows = {{1, 5, 1}, {2, 6, 2}, {refused, 7, 3}, {none, 8, 4}};
    DelimitedOptions options;
    options.formats = [&](const std::string &name) { return name == "YN" ? &answers : nullptr; };
    const std::pair<LabelForm, const char *> cases[] = {
        {LabelForm::codes, "q,q_label,p\n1,5,1\n2,6,2\n.a,7,3\n,8,4\n"},
        {LabelForm::text, "q,q_label,p\n\"yes, sir\",5,1\n2,6,2\nrefused,7,3\n,8,4\n"},
        {LabelForm::both, "q,q_label_2,q_label,p\n1,\"yes, sir\",5,1\n2,,6,2\n.a,refused,7,3\n,,8,4\n"}};
    for (const auto &[form, bytes] : cases) {
        options.labels = form;
        EXPECT_EQ(written(table, options), bytes);
    }
}

TEST(DelimitedSink, ReplacesTheFileThatALinkNames) {
    const ScratchDirectory scratch;
    const std::string old = scratch.write("out.csv", "old");
    chmod(old.c_str(), 0640);
    std::filesystem::create_symlink("out.csv", scratch.path("link.csv"));
    put_rows(*delimited_sink(scratch.path("link.csv"), {}), every_kind());
    EXPECT_EQ(file_bytes(old), "old") << "not finished";
    put(*delimited_sink(scratch.path("link.csv"), {}), {{{}, {}, {numeric("n")}, 0}, {{1}}});
    EXPECT_EQ(file_bytes(old), "n\n1\n");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"link.csv", "out.csv"}));
    EXPECT_EQ(std::filesystem::status(old).permissions(), std::filesystem::perms{0640});
}

TEST(DelimitedSink, SaysWhyItCannotWrite) {
    const ScratchDirectory scratch;
    const std::pair<std::string, const char *> cases[] = {{scratch.path("none/out.csv"), "No such file or directory"},
                                                          {scratch.path("."), "Is a directory"},
                                                          {"/dev/full", "No space left on device"}};
    for (const auto &[path, reason] : cases)
        EXPECT_EQ(sentence_of([&] { put(*delimited_sink(path, {}), every_kind()); }),
                  "m: " + path + " cannot be written: " + reason + ".");
}

struct ReadBack {
    Table table;
    std::vector<std::string> notes;
};

ReadBack read_text(std::string_view bytes, DelimitedInput input = {}) {
    const ScratchDirectory scratch;
    ReadBack back;
    CapturedLog log;
    input.log = &log;
    back.table = collect(*delimited_source(scratch.write("in.csv", std::string(bytes)), input));
    back.notes = log.lines;
    EXPECT_EQ(back.table.description.observations, static_cast<int64_t>(back.table.rows.size()));
    return back;
}

Variable text_of(int length) {
    Variable variable{"x", {}, ValueKind::character, length, {}, {}};
    variable.stored = StoredType::text;
    return variable;
}

Variable number_of(StoredType stored, const char *format = "") {
    Variable variable = numeric("x", format);
    variable.stored = stored;
    return variable;
}

// Records in several pieces of the text, which are read at the same time.
TEST(DelimitedSource, LongTextsOnAnyNumberOfThreads) {
    const struct {
        std::string end;  // behind 30,000 rows
        const char *said; // a note or an error
        StoredType stored;
    } cases[] = {
        {"", "", StoredType::int8},
        {"700,\n", "", StoredType::int16},
        {"\"1\",\"\n\"\"\n\"\nx,\n",
         "NOTE: Column n is text because of \"x\" in row 30002 (line 45006), which is no number.", StoredType::text},
        {"1,\n\n2,\"a\"b\n", ": row 30002 (line 45005), column 2 holds a stray quote.", StoredType::unknown},
        {"1,2,3\n", ": row 30001 (line 45003): found more, expected 2 fields", StoredType::unknown},
        {"1,\"\n2,3\n", ": row 30001 (line 45003), column 2 begins with a quote that never ends.", StoredType::unknown},
    };
    // Nothing but missing values where the first pieces are, then numbers; a line end in every other row.
    std::string rows = "\nn,text\n";
    for (int row = 0; row < 30000; ++row)
        rows += (row < 20000 ? "" : std::to_string(row % 50)) +
                (row % 2 ? ",plain\n" : ",\"in \"\"quotes\"\",\r\nand more\"\n");
    for (const auto &row : cases) {
        SCOPED_TRACE(row.end);
        std::vector<Table> tables;
        for (const size_t threads : {1U, 2U, 7U}) {
            const std::string error = sentence_of([&] {
                const auto [table, notes] = read_text(rows + row.end, {.threads = threads});
                tables.push_back(table);
                EXPECT_EQ(table.description.variables[0].stored, row.stored);
                EXPECT_EQ(notes, row.said[0] ? std::vector<std::string>{row.said} : std::vector<std::string>{});
            });
            const bool fails = row.stored == StoredType::unknown;
            EXPECT_NE(error.find(fails ? row.said : "nothing was thrown"), std::string::npos) << error;
        }
        for (const Table &table : tables)
            EXPECT_TRUE(table.rows == tables[0].rows);
    }
}

TEST(DelimitedSource, TypesFoundFromValues) {
    const struct {
        const char *what;
        std::string text; // of a column "x" and a column "y" of no interest
        Variable variable;
        std::vector<Cell> values;
        std::string note = {}; // a part of it
    } cases[] = {
        {"numbers",
         "x,y\n1,\n-2.5,\n 3 ,\n.,\n.a,\n",
         number_of(StoredType::float32),
         {1, -2.5, 3, none, missing_value('A')}},
        {"nothing but missing values", "x,y\n,\n.b,\n", number_of(StoredType::int8), {none, missing_value('B')}},
        {"dates",
         "x,y\n2000-02-29,\n,\n.z,\n",
         number_of(StoredType::int16, "E8601DA10."),
         {14669, none, missing_value('Z')}},
        {"date-times", "x,y\n1960-01-01T00:00:01.5,\n", number_of(StoredType::int16, "E8601DT26.6"), {1.5}},
        {"date-times with a blank",
         "x,y\n1960-01-01T00:00:01,\n1960-01-01 00:00:02,\n",
         number_of(StoredType::int16, "E8601DT26.6"),
         {1, 2}},
        {"times and numbers",
         "x,y\n00:01:00,\n1,\n",
         text_of(8),
         {"00:01:00", "1"},
         "\"1\" in row 2 (line 3), which is no time."},
        {"a text keeps the numbers' text",
         "x,y\nten\xC3\xA9,\n.a,\n007,\n  ,\n",
         text_of(5),
         {"ten\xC3\xA9", ".a", "007", "  "}},
        {"zeros in front", "x,y\n1,\n01234,\n", text_of(5), {"1", "01234"}, "\"01234\" in row 2 (line 3) would lose"},
        {"a word of another program first",
         "x,y\nNA,\n1,\n",
         text_of(2),
         {"NA", "1"},
         "\"NA\" in row 1 (line 2), which is no number."},
        {"a word that stands for nothing", "x,y\n-9,\n1,\n-,\n", number_of(StoredType::int8), {none, 1, none}},
        {"a number beyond a double", "x,y\n1e999,\n", text_of(5), {"1e999"}},
        {"quotes", "x,y\n\"a,\"\"b\"\"\n\r\nc\",\n\"\",\n\"1\",\n", text_of(9), {"a,\"b\"\n\r\nc", "", "1"}},
        {"carriage returns, empty lines, no last line end",
         "x,y\r\n\r\n1,\r\r2,\n\n\n3,",
         number_of(StoredType::int8),
         {1, 2, 3}},
        {"a byte order mark, blanks around names", "\xEF\xBB\xBF x ,y\n1,\n", number_of(StoredType::int8), {1}},
        {"no first name", " ,y\na,\n", {"v1", {}, ValueKind::character, 1, {}, {}, {}, StoredType::text}, {"a"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.what);
        const auto [table, notes] = read_text(row.text, {.missing = {"-9", "-"}});
        ASSERT_EQ(table.description.variables.size(), 2U);
        EXPECT_EQ(table.description.variables[0], row.variable);
        std::vector<Cell> values;
        for (const auto &cells : table.rows)
            values.push_back(cells[0]);
        EXPECT_EQ(values, row.values);
        EXPECT_EQ(notes.size(), row.note.empty() ? 0U : 1U);
        if (!notes.empty()) {
            EXPECT_NE(notes[0].find(row.note), std::string::npos) << notes[0];
        }
    }
}

TEST(DelimitedSource, NamesAndIntegers) {
    EXPECT_TRUE(read_text("\n").table.description.variables.empty()) << "no variables, as the sink writes it";
    const auto [table, notes] = read_text("id\tx\n9007199254740993\t9007199254740992\n1\t-36893488147419103232\n"
                                          "9007199254740995\t.5\n",
                                          {.separator = '\t'});
    EXPECT_EQ(table.rows[0][0], Cell(9007199254740992.0));
    EXPECT_EQ(notes,
              std::vector<std::string>{"NOTE: Column id holds 2 integers beyond 9007199254740992 that a double cannot "
                                       "hold exactly, the first in row 1."});
}

TEST(DelimitedSource, RefusesWithPlaceAndReason) {
    const std::string stray =
        " holds a stray quote. A field with a quote is written in quotes, with every quote inside doubled.";
    const std::pair<std::string, std::string> cases[] = {
        // The text, and the sentence after the file's name.
        {"", " is empty; a first line with the names of the columns was expected."},
        {"\xFF\xFE"
         "a\0\n\0"s,
         " is UTF-16 text; UTF-8 was expected. --encoding UTF-16 reads it."},
        {"a,,c\n", ": the names (line 1), column 2: the column has no name."},
        {"a,b,a\n1,2,3\n", ": the names (line 1), column 3: the name a is also that of column 1."},
        {"a,b\n1,2\n\n1,2,3\n", ": row 2 (line 4): found more, expected 2 fields, one for each name."},
        {"a,b\n\"x\ny\",1\n1,5\" disk\n", ": row 2 (line 4), column 2" + stray},
        {"a,b\n1,\"x\n2,3\n", ": row 1 (line 2), column 2 begins with a quote that never ends."},
        {"a,b\r\n1,x\r\n2,\xC3(\r\n", ": row 2 (line 3), column 2 (b): the text holds bytes that are not UTF-8."},
        {"a,b\n1,x\0y\n"s, ": row 1 (line 2), column 2 (b): the text holds a NUL byte."},
    };
    const ScratchDirectory scratch;
    for (const auto &[text, sentence] : cases) {
        const std::string path = scratch.write("in.csv", text);
        EXPECT_EQ(sentence_of([&] { collect(*delimited_source(path, {})); }), "c: " + path + sentence);
    }
    EXPECT_EQ(sentence_of([] { delimited_source("/nowhere/x.csv", {}); }),
              "m: /nowhere/x.csv cannot be read: No such file or directory.");
}

TEST(DelimitedSource, NoticesAFileThatChanges) {
    const std::pair<const char *, const char *> cases[] = {
        {"z,xy\n3,x\n", ", column 1 (a): \"z\" is not a number. The file changed while it was read."},
        {"1,xyz\n3,x\n", ", column 2 (b): the text has 3 bytes; at most 2 fit. The file changed while it was read."},
        {"1,xy\n", " changed while it was read: it had 2 rows, now it has 1."},
    };
    for (const auto &[now, sentence] : cases) {
        const ScratchDirectory scratch;
        // The source holds the first lines in its buffer, so the rows are kept apart by a megabyte and a half.
        const std::string names = "a,b\n" + std::string(3 << 19, '\n');
        const auto source = delimited_source(scratch.write("in.csv", names + "1,xy\n3,x\n"), {});
        scratch.write("in.csv", names + now);
        const std::string found = sentence_of([&] { collect(*source); });
        EXPECT_TRUE(found.ends_with(sentence)) << found;
    }
}

TEST(DelimitedSource, RecordsAcrossBufferEnds) {
    std::string text = "a,b\r\n";
    Cells expected;
    for (int row = 0; text.size() < 5 << 20; ++row) {
        const bool quoted = row % 3 == 0;
        const std::string filler(static_cast<size_t>(row) * 7919 % 3000, 'q');
        text += std::to_string(row) + (quoted ? ",\"\"\"," + filler + "\"\r\n" : ",x" + filler + "\r\n");
        expected.push_back({row, (quoted ? "\"," : "x") + filler});
    }
    const std::string long_line(3 << 20, 'z');
    text += "1," + long_line + "\r\n2,end";
    expected.push_back({1, long_line});
    expected.push_back({2, "end"});
    EXPECT_TRUE(read_text(text).table.rows == expected);
}

// The characters of the encodings stand for one in UTF-8, at every place in the pieces that are read.
TEST(DelimitedSource, OtherEncodings) {
    const struct {
        const char *encoding;
        std::string mark, zero, character; // at the start; behind each character of ASCII; another character
        std::string utf8;
        std::string_view wrong; // bytes that the encoding does not have
    } cases[] = {
        {"latin1", "", "", "\xE9", "\xC3\xA9", {}},
        {"Shift_JIS", "", "", "\x82\xA0", "\xE3\x81\x82", "\x82"},
        {"UTF-16", "\xFF\xFE", std::string(1, '\0'), "\x3D\xD8\x0A\xDE", "\xF0\x9F\x98\x8A", "x"},
        {"utf-8", "", "", "\xC3\xA9", "\xC3\xA9", "\xC3"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.encoding);
        std::string text = one.mark;
        Cells expected;
        const auto put = [&](std::string_view ascii) {
            for (const char c : ascii)
                text.append(1, c).append(one.zero);
        };
        put("n,s\n");
        for (int row = 0; row < 30'000; ++row) {
            put(std::to_string(row) + ",x");
            text += one.character;
            put("\n");
            expected.push_back({row, "x" + one.utf8});
        }
        EXPECT_TRUE(read_text(text, {.encoding = one.encoding}).table.rows == expected);
        if (one.wrong.empty())
            continue;
        text += one.wrong;
        const std::string sentence = sentence_of([&] { read_text(text, {.encoding = one.encoding}); });
        EXPECT_NE(sentence.find("holds bytes that are not " + std::string(one.encoding) + ", near byte"),
                  std::string::npos)
            << sentence;
    }
    EXPECT_EQ(sentence_of([] { read_text("a\n", {.encoding = "nothing"}); }), "u: The encoding nothing is not known.");
}

} // namespace
} // namespace vor::test
