// SQLite libraries: what goes in comes out bit for bit, other clients can read it, an old data set survives every
// failure, and tables that others wrote can be read.
#include "tables_in_memory.h"

#include <vorhost/library.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vor::test {
namespace {

using namespace std::string_literals;
using Access = Library::Access;

constexpr double infinity = std::numeric_limits<double>::infinity();

// Another SQLite client: runs a statement, gives the cells of all rows, columns parted by '|', rows by a line end.
std::string sql(const std::string &path, const std::string &statement) {
    sqlite3 *client = nullptr;
    sqlite3_open(path.c_str(), &client);
    std::string text;
    char *message = nullptr;
    const auto collect_row = [](void *out, int columns, char **cells, char **) {
        for (int i = 0; i < columns; ++i)
            *static_cast<std::string *>(out) += (i == 0 ? "" : "|") + std::string(cells[i] ? cells[i] : "NULL");
        *static_cast<std::string *>(out) += '\n';
        return 0;
    };
    if (sqlite3_exec(client, statement.c_str(), collect_row, &text, &message) != SQLITE_OK)
        text = message;
    sqlite3_free(message);
    sqlite3_close(client);
    return text;
}

Table people() {
    Table table;
    table.description = {"people", "Some people", {}, 5};
    Variable sex = numeric("sex", "SEXA.");
    sex.label = "Sex";
    table.description.variables = {sex, numeric("born", "MMDDYY10."), numeric("seen", "DATETIME18."), numeric("score"),
                                   character("name", 12)};
    table.description.variables[3].length = 4;
    table.description.variables[3].informat = {"BEST", 12, 3};
    const double none = missing_value('.');
    table.rows = {{1, 14669, 14669.0 * 86400 + 45296.789, 0.1, "plain"},
                  {2, 0.5, -1e300, -0.0, "O'Neil \"x\""},
                  {missing_value('A'), missing_value('_'), missing_value('Z'), 5e-324, "nul\0byte"s},
                  {none, none, none, none, ""},
                  {2.5, -0.0, infinity, -infinity, "\xC3\xA9t\xC3\xA9"}};
    return table;
}

UserFormat sexes() {
    return {"SEXA",
            ValueKind::numeric,
            false,
            {{missing_value('.'), missing_value('.'), {"unknown"}},
             {missing_value('A'), missing_value('A'), {"refused"}},
             {1.0, 1.0, {"it's him"}},
             {2.0, 2.0, {"her"}},
             {2.4, 3.0, {"other", "second"}}},
            8};
}

void store(Library &library, const Table &table, const std::string &name = "people",
           const std::string &catalog = "FORMATS") {
    const auto sink = library.dataset_sink(name, catalog);
    put(*sink, table);
}

void expect_same(const Table &back, const Table &table) {
    EXPECT_EQ(back.description.variables, table.description.variables);
    EXPECT_EQ(back.description.label, table.description.label);
    EXPECT_EQ(back.description.observations, static_cast<int64_t>(table.rows.size()));
    EXPECT_EQ(back.rows, table.rows);
}

TEST(Library, GivesBackBitForBit) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    Table table = people();
    // What no arithmetic makes, but bits may say: not-a-number, and a missing value with bits to spare.
    table.rows.push_back({std::bit_cast<double>(0x7FF8000000000001U), std::bit_cast<double>(0xFFFFFE0000000001U), 0,
                          std::bit_cast<double>(0xFFFFFD0000000007U), "odd"});
    store(*Library::open(path, Access::write), table);
    EXPECT_EQ(scratch.files(), std::vector<std::string>{"lib.db"});
    const auto library = Library::open(path, Access::read);
    EXPECT_EQ(library->dataset_names(), std::vector<std::string>{"people"});
    const auto source = library->dataset_source("PEOPLE");
    expect_same(collect(*source), table);
    EXPECT_EQ(source->description().name, "people");
}

TEST(Library, OtherClientsReadTablesAndLabels) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    const auto library = Library::open(path, Access::write);
    const auto sink = library->dataset_sink("people", "FORMATS");
    library->write_format("FORMATS", sexes());
    put(*sink, people());
    EXPECT_EQ(sql(path, "SELECT name, type FROM pragma_table_info('people')"),
              "sex|REAL\nborn|TEXT\nseen|TEXT\nscore|REAL\nname|TEXT\n");
    EXPECT_EQ(sql(path, "SELECT sex, born, seen, score FROM people"),
              "1.0|2000-02-29|2000-02-29T12:34:56.789|0.1\n2.0|0.5|-1e+300|0.0\nNULL|NULL|NULL|4.94065645841247e-324\n"
              "NULL|NULL|NULL|NULL\n2.5|-0|inf|-Inf\n");
    EXPECT_EQ(sql(path, "SELECT observation, position, mark FROM vor_missing"), "3|1|.a\n3|2|._\n3|3|.z\n");
    EXPECT_EQ(sql(path, "SELECT sex, born FROM people_labelled"),
              "it's him|2000-02-29\nher|0.5\nrefused|NULL\nunknown|NULL\nother|-0\n");
    const std::string plan = sql(path, "EXPLAIN QUERY PLAN SELECT sex FROM people_labelled");
    EXPECT_EQ(plan.find("SCAN r"), std::string::npos) << "labels are found by an index\n" << plan;
    for (const char *index : {"vor_ranges_low ", "vor_ranges_interval", "vor_ranges_mark"})
        EXPECT_NE(plan.find(index), std::string::npos) << plan;

    sql(path, "UPDATE vor_labels SET label = 'she' WHERE label = 'her'");
    EXPECT_EQ(sql(path, "SELECT sex FROM people_labelled WHERE name LIKE 'O%'"), "she\n");
}

TEST(Library, ChangesByOtherClientsCount) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    store(*Library::open(path, Access::write), people());
    EXPECT_EQ(sql(path, "DELETE FROM people WHERE score = 0.1; UPDATE people SET sex = 7, born = '1960-01-02' WHERE "
                        "sex IS NULL; UPDATE people SET score = 8 WHERE score = 0;"
                        "INSERT INTO people(name) VALUES('a name longer than twelve bytes')"),
              "");
    const Table back = collect(*Library::open(path, Access::read)->dataset_source("people"));
    EXPECT_EQ(back.description.observations, 5);
    EXPECT_EQ(back.description.variables[4].length, 31);
    const double none = missing_value('.');
    EXPECT_EQ(back.rows[0][3], Cell(8)) << "the -0 that stood there does not come back";
    EXPECT_EQ(back.rows[1][0], Cell(7));
    EXPECT_EQ(back.rows[1][2], Cell(missing_value('Z')));
    EXPECT_EQ(back.rows[4], (std::vector<Cell>{none, none, none, none, "a name longer than twelve bytes"}));
    sql(path, "UPDATE people SET score = 'much' WHERE sex = 2");
    EXPECT_EQ(sentence_of([&] { collect(*Library::open(path, Access::read)->dataset_source("people")); }),
              "c: " + path +
                  ": row 1, column 4 (score) of the data set people holds a text where a number, date or time "
                  "was expected.");
    sql(path, "DROP TABLE people");
    EXPECT_EQ(sentence_of([&] { Library::open(path, Access::read)->dataset_source("people"); }),
              "c: " + path + ": no such table: people.");
}

TEST(Library, FormatsComeBackWhole) {
    const Scratch scratch;
    const auto library = Library::open(scratch.file("lib.db"), Access::write);
    UserFormat texts{"$CITY", ValueKind::character, true, {}, 5};
    texts.ranges = {{"a"s, "a"s, {"A", "first"}}, {"b\0c"s, "d"s, {""}}};
    UserFormat numbers = sexes();
    numbers.ranges.insert(numbers.ranges.begin() + 1, {missing_value('_'), missing_value('Z'), {"marks"}});
    numbers.ranges.push_back({1e300, infinity, {"high"}});
    library->write_format("Formats", texts);
    library->write_format("FORMATS", sexes());
    library->write_format("FORMATS", numbers);
    library->write_format("OTHER", sexes());
    EXPECT_EQ(library->catalog_names(), (std::vector<std::string>{"Formats", "OTHER"}));
    EXPECT_EQ(library->format_names("formats"), (std::vector<std::string>{"$CITY", "SEXA"}));
    UserFormat back;
    EXPECT_TRUE(library->read_format("formats", "sexa", back));
    EXPECT_EQ(back, numbers);
    EXPECT_TRUE(library->read_format("FORMATS", "$city", back));
    EXPECT_EQ(back, texts);
    EXPECT_FALSE(library->read_format("NONE", "SEXA", back));
    EXPECT_TRUE(library->dataset_names().empty());
}

TEST(Library, NamesThatNeedCare) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    const auto library = Library::open(path, Access::write);
    Table table;
    table.description.variables = {numeric("a"),        numeric("A"),        numeric("a_2"),     numeric("_rowid_"),
                                   numeric("rowid"),    numeric("select"),   numeric("x\"; --"), numeric(""),
                                   numeric("\xC3\x84"), numeric("\xC3\xA4"), numeric("sp ace")};
    table.rows = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, missing_value('C')}};
    for (const char *name : {"it's \"odd\"", "order", "people", "people_labelled_x", "\xC3\xA9"}) {
        store(*library, table, name);
        expect_same(collect(*library->dataset_source(name)), table);
    }
    EXPECT_EQ(sql(path, "SELECT a, \"A_2\", \"a_2_2\", \"_rowid__2\", rowid, V8 FROM \"order\""),
              "1.0|2.0|3.0|4.0|5.0|8.0\n");

    library->write_format("FORMATS", sexes());
    sql(path, "CREATE TABLE people_labelled(x); CREATE VIEW seen AS SELECT 1 AS one");
    store(*library, people());
    EXPECT_EQ(sql(path, "SELECT count(*) FROM people_labelled_2"), "5\n") << "a view gives way to a table";
    const struct {
        const char *name;
        const char *sentence;
    } refused[] = {
        {"", "u: A data set needs a name."},
        {"VOR_x", "u: A data set cannot be called VOR_x: names that begin with vor_ belong to the library itself."},
        {"sqlite_x", "u: A data set cannot be called sqlite_x: names that begin with sqlite_ belong to the library "
                     "itself."},
        {"seen", "u: A data set cannot be called seen: a view in the library has that name."},
        {"PEOPLE_labelled_2", "u: A data set cannot be called PEOPLE_labelled_2: the view with the labels of another "
                              "data set has that name."},
    };
    for (const auto &row : refused)
        EXPECT_EQ(sentence_of([&] { library->dataset_sink(row.name, ""); }), row.sentence);
    EXPECT_EQ(sentence_of([&] { library->describe("nobody"); }),
              "c: " + path +
                  " has no data set nobody; it has it's \"odd\", order, people, people_labelled, people_labelled_x, "
                  "\xC3\xA9.");
}

TEST(Library, ShapesAtTheEdge) {
    const Scratch scratch;
    const auto library = Library::open(scratch.file("lib.db"), Access::write);
    Table table;
    store(*library, table, "nothing");
    expect_same(collect(*library->dataset_source("nothing")), table);
    table = people();
    table.rows.clear();
    store(*library, table, "no_rows");
    expect_same(collect(*library->dataset_source("no_rows")), table);

    Table wide;
    wide.rows.resize(3);
    for (int i = 0; i < 5000; ++i) {
        wide.description.variables.push_back(i % 2 == 0 ? numeric(("v" + std::to_string(i)).c_str())
                                                        : character(("v" + std::to_string(i)).c_str(), 8));
        for (int row = 0; row < 3; ++row)
            wide.rows[static_cast<size_t>(row)].push_back(i % 2 != 0   ? Cell(std::to_string(i * row))
                                                          : i % 7 == 0 ? Cell(missing_value('Q'))
                                                                       : Cell(i + row));
    }
    sql(scratch.file("lib.db"), "CREATE TABLE wide_2(x)");
    store(*library, wide, "wide");
    store(*library, wide, "wide");
    expect_same(collect(*library->dataset_source("wide")), wide);
    EXPECT_EQ(library->dataset_names(), (std::vector<std::string>{"no_rows", "nothing", "wide", "wide_2"}));
    sql(scratch.file("lib.db"), "DELETE FROM wide WHERE _rowid_ = 2");
    EXPECT_EQ(sentence_of([&] { collect(*library->dataset_source("wide")); }),
              "c: " + scratch.file("lib.db") +
                  ": the tables wide and wide_2_2 of the data set wide do not hold the same rows.");
}

TEST(Library, AnUnfinishedDataSetLeavesTheOldOne) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    const Table old = people();
    {
        const auto library = Library::open(path, Access::write);
        put_rows(*library->dataset_sink("people", ""), old);
    }
    EXPECT_TRUE(scratch.files().empty()) << "a library that never held anything is not there";
    const auto library = Library::open(path, Access::write);
    store(*library, old);
    Table other = people();
    other.rows.resize(1);
    {
        const auto sink = library->dataset_sink("people", "FORMATS");
        library->write_format("FORMATS", sexes());
        put_rows(*sink, other);
    }
    expect_same(collect(*library->dataset_source("people")), old);
    EXPECT_TRUE(library->format_names("FORMATS").empty());

    const pid_t child = fork();
    if (child == 0) {
        const auto doomed = Library::open(path, Access::write);
        const auto sink = doomed->dataset_sink("people", "FORMATS");
        sink->begin(old.description);
        for (int i = 0; i < 100000; ++i) // more than is held in memory
            sink->row(CellRow(old.rows[0]));
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    expect_same(collect(*Library::open(path, Access::read)->dataset_source("people")), old);
    EXPECT_EQ(scratch.files(), std::vector<std::string>{"lib.db"});
}

TEST(Library, OneTransactionForManyFormats) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    {
        const auto library = Library::open(path, Access::write);
        const auto all = library->transaction();
        library->write_format("FORMATS", sexes());
        EXPECT_FALSE(std::filesystem::exists(path));
        store(*library, people());
        all->commit();
    }
    EXPECT_EQ(sql(path, "SELECT count(*) FROM vor_formats"), "1\n");
    EXPECT_EQ(sql(path, "SELECT count(*) FROM people_labelled"), "5\n");
    {
        const auto library = Library::open(path, Access::write);
        const auto all = library->transaction();
        library->write_format("OTHER", sexes());
    }
    EXPECT_EQ(sql(path, "SELECT count(*) FROM vor_formats"), "1\n");
}

TEST(Library, SaysWhatIsWrong) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    const auto opening = [](const std::string &file, Access access) {
        return sentence_of([&] { Library::open(file, access); });
    };
    EXPECT_EQ(opening(path, Access::read), "m: " + path + " cannot be opened: No such file or directory.");
    EXPECT_EQ(opening(scratch.file("none/lib.db"), Access::write),
              "m: " + scratch.file("none/lib.db") + " cannot be made: No such file or directory.");
    EXPECT_EQ(opening(scratch.file("."), Access::read),
              "m: " + scratch.file(".") + " is a directory; a SQLite library was expected.");
    const std::string text = scratch.write("text.db", std::string(2000, 'x'));
    EXPECT_EQ(opening(text, Access::write), "c: " + text + " is not a SQLite library.");

    store(*Library::open(path, Access::write), people());
    EXPECT_EQ(sentence_of([&] { Library::open(path, Access::read)->dataset_sink("x", ""); }),
              "m: " + path + " cannot be written: it is read-only.");
    {
        const auto first = Library::open(path, Access::write);
        const auto sink = first->dataset_sink("x", "");
        EXPECT_EQ(sentence_of([&] { Library::open(path, Access::write)->dataset_sink("y", ""); }),
                  "m: " + path + " is locked by another program.");
    }
    {
        const auto library = Library::open(path, Access::write);
        const auto reading = library->dataset_source("people");
        CellWriter row;
        row.cells = people().rows[0];
        reading->next(row);
        EXPECT_EQ(sentence_of([&] { store(*library, people()); }),
                  "m: " + path + " is being read, so the data set cannot be replaced now.");
        store(*library, people(), "another");
    }
    sql(path, "UPDATE vor_library SET version = 2");
    EXPECT_EQ(sentence_of([&] { Library::open(path, Access::write)->dataset_sink("x", ""); }),
              "c: " + path + " is a library of version 2, made by a newer program; this one knows version 1.");
    std::string damaged = scratch.read("lib.db");
    std::fill(damaged.begin() + 4096, damaged.end(), '\x55');
    const std::string broken = scratch.write("broken.db", damaged);
    EXPECT_EQ(sentence_of([&] { Library::open(broken, Access::read)->dataset_source("people"); }),
              "c: " + broken + " is a damaged SQLite library.");
}

TEST(Library, AFullDiskLeavesTheOldDataSet) {
    const Scratch scratch;
    const std::string path = scratch.file("lib.db");
    const auto library = Library::open(path, Access::write);
    store(*library, people());
    const rlimit small{1 << 20, RLIM_INFINITY};
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    Table large = people();
    large.rows.resize(100000, large.rows[0]);
    const std::string sentence = sentence_of([&] { store(*library, large); });
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_TRUE(sentence == "m: " + path + " cannot be read or written: File too large." ||
                sentence == "m: " + path + " cannot be written: the disk is full.")
        << sentence;
    expect_same(collect(*library->dataset_source("people")), people());
    store(*library, people());
}

TEST(Library, TablesOfOthers) {
    const Scratch scratch;
    const std::string path = scratch.file("plain.db");
    EXPECT_EQ(sql(path, "CREATE TABLE t(id INTEGER PRIMARY KEY, n, d, at TEXT, tm, s TEXT, m, e TEXT, z, gap);"
                        "INSERT INTO t VALUES(1, 0.5, '2000-02-29', '1960-01-01T00:00:01', '00:01:00', '12', 1, NULL, "
                        "NULL, ''),"
                        "(9007199254740993, NULL, NULL, '1960-01-01T00:00:02', NULL, 'it''s', 'one', NULL, NULL, 5),"
                        "(3, 2, '', NULL, '00:00:00', '', 2.5, NULL, NULL, NULL);"
                        "CREATE VIEW v AS SELECT n * 2 AS twice FROM t; CREATE TABLE b(x, y);"
                        "INSERT INTO b VALUES(1, 2), (3, x'00')"),
              "");
    std::vector<std::string> notes;
    const auto library = Library::open(path, Access::read);
    const auto source = library->dataset_source("T", [&](const std::string &note) { notes.push_back(note); });
    const Table back = collect(*source);
    EXPECT_EQ(notes, (std::vector<std::string>{"Column id holds 1 integer beyond 9007199254740992 that a double cannot "
                                               "hold exactly, the first in row 3.",
                                               "Column m holds numbers and text; its numbers are taken as text."}));
    std::vector<std::string> kinds;
    for (const Variable &variable : back.description.variables)
        kinds.push_back(variable.kind == ValueKind::numeric ? "n " + format_text(variable.format)
                                                            : "c " + std::to_string(variable.length));
    EXPECT_EQ(kinds, (std::vector<std::string>{"n ", "n ", "n E8601DA10.", "n E8601DT26.6", "n E8601TM15.6", "c 4",
                                               "c 24", "c 1", "n ", "n "}));
    const double none = missing_value('.');
    EXPECT_EQ(back.rows, (Cells{{1, 0.5, 14669, 1, 60, "12", "1", "", none, none},
                                {3, 2, none, none, 0, "", "2.5", "", none, none},
                                {9007199254740992.0, none, none, 2, none, "it's", "one", "", none, 5}}));
    EXPECT_EQ(back.description.observations, 3);
    EXPECT_EQ(collect(*library->dataset_source("v")).rows, (Cells{{1}, {4}, {none}}));
    EXPECT_EQ(sentence_of([&] { library->describe("b"); }),
              "c: " + path + ": row 2, column 2 (y) of b is a BLOB; numbers and text were expected.");
    EXPECT_EQ(library->dataset_names(), (std::vector<std::string>{"b", "t"}));

    store(*Library::open(path, Access::write), people(), "t");
    expect_same(collect(*library->dataset_source("t")), people());
}

TEST(Libraries, NamedLibrariesAndWork) {
    const Scratch scratch;
    Libraries libraries;
    libraries.assign("Lib", Library::open(scratch.file("lib.db"), Access::write));
    using Written = FormatCatalogs::Written;
    UserFormat changed = sexes();
    changed.ranges.pop_back();
    for (const char *name : {"LIB", "WORK"}) {
        EXPECT_EQ(libraries.write(name, "FORMATS", sexes(), false), Written::stored);
        EXPECT_EQ(libraries.write(name, "FORMATS", changed, true), Written::kept_old);
        UserFormat back;
        EXPECT_TRUE(libraries.read(name, "formats", "sexa", back));
        EXPECT_EQ(back, sexes());
        EXPECT_EQ(libraries.write(name, "FORMATS", changed, false), Written::stored);
        EXPECT_TRUE(libraries.read(name, "formats", "sexa", back));
        EXPECT_EQ(back, changed);
        EXPECT_FALSE(libraries.read(name, "FORMATS", "NONE", back));
    }
    UserFormat none;
    EXPECT_FALSE(libraries.read("NOWHERE", "FORMATS", "SEXA", none));
    EXPECT_EQ(sentence_of([&] { libraries.write("NOWHERE", "FORMATS", sexes(), false); }),
              "c: The format SEXA cannot be stored: there is no library NOWHERE.");
    EXPECT_EQ(sentence_of([&] { libraries.assign("TOOLONGNAME", nullptr); }),
              "u: \"TOOLONGNAME\" cannot name a library: names have 1 to 8 characters.");
    EXPECT_EQ(sql(scratch.file("lib.db"), "SELECT count(*) FROM vor_formats"), "1\n") << "WORK is nobody's file";
}

} // namespace
} // namespace vor::test
