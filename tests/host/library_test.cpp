// SQLite libraries: what goes in comes out bit for bit, other clients can read it, an old data set survives every
// failure, and tables that others wrote can be read.
#include "collected_import.h"
#include "tables_in_memory.h"

#include <vorhost/library.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <sqlite3.h>
#include <sys/resource.h>

namespace vor::test {
namespace {

using namespace std::string_literals;
using Access = Library::Access;
using Names = std::vector<std::string>;

constexpr double infinity = std::numeric_limits<double>::infinity();
const double none = missing_value('.');

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
    table.rows = {{1, 14669, 14669.0 * 86400 + 45296.789, 0.1, "plain"},
                  {2, 0.5, -1e300, -0.0, "O'Neil \"x\""},
                  {missing_value('A'), missing_value('_'), missing_value('Z'), 5e-324, "nul\0byte"s},
                  {none, none, none, none, ""},
                  {2.5, -0.0, infinity, -infinity, "\xC3\xA9t\xC3\xA9"}};
    return table;
}

UserFormat sexes() {
    const double refused = missing_value('A');
    UserFormat format{"SEXA", ValueKind::numeric, false, {}, 8};
    format.ranges = {{none, none, {"unknown"}},
                     {refused, refused, {"refused"}},
                     {1.0, 1.0, {"it's him"}},
                     {2.0, 2.0, {"her"}},
                     {2.4, 3.0, {"other", "second"}}};
    return format;
}

void store(Library &library, const Table &table, const std::string &name = "people") {
    put(*library.dataset_sink(name, "FORMATS"), table);
}

void expect_stored(Library &library, const Table &table, const std::string &name = "people") {
    const Table back = collect(*library.dataset_source(name));
    EXPECT_EQ(back.description.variables, table.description.variables);
    EXPECT_EQ(back.description.label, table.description.label);
    EXPECT_EQ(back.description.observations, std::ssize(table.rows));
    EXPECT_EQ(back.rows, table.rows);
}

class LibraryTest : public testing::Test {
  protected:
    std::shared_ptr<Library> open(Access access) const { return Library::open(path, access); }
    std::string sql(const std::string &statement) const { return test::sql(path, statement); }

    const ScratchDirectory scratch;
    const std::string path = scratch.path("lib.db");
    const std::shared_ptr<Library> library = open(Access::write);
};

TEST_F(LibraryTest, GivesBackBitForBit) {
    Table table = people();
    // What no arithmetic makes, but bits may say: not-a-number, and a missing value with bits to spare.
    table.rows.push_back({std::bit_cast<double>(0x7FF8000000000001U), none, 0, none, "odd"});
    store(*library, table);
    EXPECT_EQ(scratch.names(), Names{"lib.db"});
    const auto reading = open(Access::read);
    EXPECT_EQ(reading->dataset_names(), Names{"people"});
    EXPECT_EQ(reading->dataset_source("PEOPLE")->description().name, "people");
    expect_stored(*reading, table, "PEOPLE");
}

TEST_F(LibraryTest, TakesWhatWasMadeAtTheSameTime) {
    Table labelled = people();
    labelled.description.label_tables = {sexes()};
    const auto other = open(Access::write);
    put(*other->dataset_sink("theirs", std::nullopt), labelled);
    const auto transaction = library->transaction();
    library->write_format("SHARED", sexes());
    put(*library->dataset_sink("ours", std::nullopt), labelled);
    store(*library, people(), "theirs");
    transaction->commit();
    EXPECT_EQ(scratch.names(), Names{"lib.db"});
    const auto reading = open(Access::read);
    expect_stored(*reading, people(), "ours");
    expect_stored(*reading, people(), "theirs");
    EXPECT_EQ(reading->describe("ours").label_tables, labelled.description.label_tables);
    EXPECT_EQ(reading->catalog_of("theirs"), "FORMATS");
    EXPECT_EQ(reading->format_names("SHARED"), Names{"SEXA"});
    EXPECT_EQ(sql("PRAGMA integrity_check"), "ok\n");
}

// One variable for each stored type and unit of time, and everything else that a Stata file says.
Table survey() {
    Table table;
    DataSet &all = table.description;
    all = {"survey", "Wave 1", {}, 3};
    all.timestamp = "23 Nov 2026 22:00";
    all.sort = {"w", "i"};
    all.characteristics = {{"_dta", "note0", "1"}, {"_dta", "note1", "two\nlines "}, {"i", "odd", "\xC3\xA9"}};
    const auto add = [&](const char *name, const char *word, const char *format, const char *labels) {
        Variable variable = word[0] == 's' ? character(name, 1) : numeric(name);
        EXPECT_TRUE(set_stored_type(variable, word));
        variable.stata_format = format;
        variable.label_table = labels;
        all.variables.push_back(variable);
    };
    add("i", "byte", "%8.0g", "Sex");
    add("l", "long", "%12.0g", "sex");
    add("f", "float", "%9.2f", "");
    add("w", "int", "%tw", "Sex");
    add("ms", "double", "%tcHH:MM:SS.sss", "");
    add("t", "str7", "%-7s", "");
    add("b", "strL", "%9s", "");
    all.variables.back().length = 5;
    const std::string script = "\xE5\x90\x8D\xE5\x89\x8D"; // labels of any script
    all.label_tables = {{script, ValueKind::numeric, false, {{7.0, 7.0, {script}}}, 6},
                        {"Sex",
                         ValueKind::numeric,
                         false,
                         {{missing_value('A'), missing_value('A'), {"gone"}}, {1.0, 1.0, {"him"}}},
                         4},
                        {"sex", ValueKind::numeric, false, {{1.0, 1.0, {"her"}}}, 3}};
    table.rows = {{1, 1, -0.0, -1, 1267446896789.0, "a  ", "\xFF\0\x01 "s},
                  {missing_value('A'), 9007199254740992.0, 0.5, missing_value('A'), 0.25, " ", "text "},
                  {-127, -2147483647, 3, 0.5, -1, "", ""}};
    return table;
}

TEST_F(LibraryTest, KeepsAllThatAStataFileSays) {
    const Table table = survey();
    put(*library->dataset_sink("survey"), table);
    put(*library->dataset_sink("SHARED", "FORMATS"), table);
    const auto back = library->dataset_source("survey");
    for (int pass = 1; pass <= 2; ++pass) {
        EXPECT_EQ(back->description(), table.description);
        EXPECT_EQ(collect(*back).rows, table.rows) << "pass " << pass;
        EXPECT_TRUE(back->rewind());
    }
    EXPECT_EQ(library->describe("shared").label_tables.size(), 2u) << "of a shared catalog those that are used";
    EXPECT_EQ(sql("SELECT group_concat(type) FROM pragma_table_info('survey')"),
              "INTEGER,INTEGER,REAL,TEXT,TEXT,TEXT,TEXT,INTEGER\n");
    EXPECT_EQ(sql("SELECT i, l, w, ms, typeof(b) FROM survey_labelled"),
              "him|her|1959-12-24|2000-02-29T12:34:56.789|blob\ngone|9007199254740992|gone|00:00:00.00025|text\n"
              "-127|-2147483647|0.5|1959-12-31T23:59:59.999|text\n");
    EXPECT_EQ(sql("PRAGMA integrity_check"), "ok\n");
}

TEST_F(LibraryTest, EachDataSetHasItsLabels) {
    Table first = survey(), second = survey();
    std::swap(second.description.label_tables[1].name, second.description.label_tables[2].name);
    put(*library->dataset_sink("first"), first);
    put(*library->dataset_sink("second"), second);
    put(*library->dataset_sink("FIRST"), first);
    EXPECT_EQ(library->catalog_names(), (Names{"FIRST", "second"})) << "a catalog goes with its data set";
    EXPECT_EQ(library->catalog_of("first"), "FIRST");
    EXPECT_EQ(library->describe("second").label_tables, second.description.label_tables);
    EXPECT_EQ(sql("SELECT (SELECT i FROM first_labelled LIMIT 1), (SELECT i FROM second_labelled LIMIT 1)"),
              "him|her\n");
}

TEST_F(LibraryTest, ReadsAndBringsUpToDateWhatOlderVersionsWrote) {
    library->write_format("FORMATS", sexes());
    store(*library, people());
    EXPECT_EQ(sql("UPDATE vor_library SET version = 1; DROP TABLE vor_characteristics;"
                  "ALTER TABLE vor_datasets DROP COLUMN timestamp; ALTER TABLE vor_datasets DROP COLUMN own_catalog;"
                  "ALTER TABLE vor_variables DROP COLUMN stored_type; ALTER TABLE vor_variables DROP COLUMN "
                  "stata_format; ALTER TABLE vor_variables DROP COLUMN label_table;"
                  "ALTER TABLE vor_variables DROP COLUMN sort_position; DROP TABLE vor_views;"
                  "CREATE TABLE vor_views(dataset_id INTEGER NOT NULL, view_name TEXT NOT NULL PRIMARY KEY COLLATE "
                  "NOCASE) WITHOUT ROWID; INSERT INTO vor_views VALUES(1, 'people_labelled')"),
              "");
    expect_stored(*open(Access::read), people());
    put(*library->dataset_sink("survey"), survey());
    expect_stored(*open(Access::read), people());
    EXPECT_EQ(library->describe("survey"), survey().description);
    store(*library, people());
    EXPECT_EQ(sql("SELECT sex FROM people_labelled LIMIT 1; PRAGMA integrity_check"), "it's him\nok\n");
}

TEST_F(LibraryTest, OtherClientsReadTablesAndLabels) {
    const auto sink = library->dataset_sink("people", "FORMATS");
    library->write_format("FORMATS", sexes());
    put(*sink, people());
    EXPECT_EQ(sql("SELECT name, type FROM pragma_table_info('people')"),
              "sex|REAL\nborn|TEXT\nseen|TEXT\nscore|REAL\nname|TEXT\nvor_row|INTEGER\n");
    EXPECT_EQ(sql("SELECT sex, born, seen, score FROM people"),
              "1.0|2000-02-29|2000-02-29T12:34:56.789|0.1\n2.0|0.5|-1e+300|0.0\nNULL|NULL|NULL|4.94065645841247e-324\n"
              "NULL|NULL|NULL|NULL\n2.5|-0|inf|-Inf\n");
    EXPECT_EQ(sql("SELECT observation, position, mark FROM vor_missing"), "3|1|.a\n3|2|._\n3|3|.z\n");
    EXPECT_EQ(sql("SELECT sex, born FROM people_labelled"),
              "it's him|2000-02-29\nher|0.5\nrefused|NULL\nunknown|NULL\nother|-0\n");
    const std::string plan = sql("EXPLAIN QUERY PLAN SELECT sex FROM people_labelled");
    EXPECT_EQ(plan.find("SCAN r"), std::string::npos) << "labels are found by an index\n" << plan;
    for (const char *index : {"vor_ranges_low ", "vor_ranges_interval", "vor_ranges_mark"})
        EXPECT_NE(plan.find(index), std::string::npos) << plan;
    sql("UPDATE vor_labels SET label = 'she' WHERE label = 'her'");
    EXPECT_EQ(sql("SELECT sex FROM people_labelled WHERE name LIKE 'O%'"), "she\n");
}

TEST_F(LibraryTest, ChangesByOtherClientsCount) {
    store(*library, people());
    EXPECT_EQ(sql("DELETE FROM people WHERE score = 0.1; UPDATE people SET sex = 0, born = '1960-01-02' WHERE "
                  "sex IS NULL; UPDATE people SET score = 8 WHERE score = 0;"
                  "INSERT INTO people(name) VALUES('a name longer than twelve bytes')"),
              "");
    const Table back = collect(*open(Access::read)->dataset_source("people"));
    EXPECT_EQ(back.description.observations, 5);
    EXPECT_EQ(back.description.variables[4].length, 31);
    EXPECT_EQ(back.rows[0][3], Cell(8)) << "the -0 that stood there does not come back";
    EXPECT_EQ(back.rows[1][0], Cell(0)) << "nor does the .a";
    EXPECT_EQ(back.rows[1][2], Cell(missing_value('Z')));
    EXPECT_EQ(back.rows[4], (std::vector<Cell>{none, none, none, none, "a name longer than twelve bytes"}));
    sql("UPDATE people SET score = 'much' WHERE sex = 2");
    EXPECT_EQ(sentence_of([&] { collect(*open(Access::read)->dataset_source("people")); }),
              "c: " + path +
                  ": row 1, column 4 (score) of the data set people holds a text where a number, date or "
                  "time was expected.");
    sql("DROP TABLE people");
    EXPECT_EQ(sentence_of([&] { open(Access::read)->dataset_source("people"); }),
              "c: " + path + ": no such table: people.");
}

TEST_F(LibraryTest, ColumnsThatOthersChange) {
    put(*library->dataset_sink("people"), people());
    put(*library->dataset_sink("wide"), survey());
    Names notes, warnings;
    const auto read = [&](const char *name) {
        return collect(*open(Access::read)
                            ->dataset_source(
                                name, [&](const std::string &note) { notes.push_back(note); },
                                [&](const std::string &warning) { warnings.push_back(warning); }));
    };
    EXPECT_EQ(
        sql("DELETE FROM people WHERE vor_row = 1; ALTER TABLE people ADD COLUMN extra; UPDATE people SET extra = "
            "vor_row; UPDATE wide SET l = 9007199254740993 WHERE vor_row = 2; UPDATE wide SET w = '2000-02-29'"),
        "");
    EXPECT_EQ(sql("VACUUM"), "");
    const Table back = read("people");
    EXPECT_EQ(back.description.variables.at(5).name, "extra");
    EXPECT_EQ(back.rows[1][0], Cell(missing_value('A'))) << "marks stay with their rows";
    EXPECT_EQ(back.rows[3][5], Cell(5));
    EXPECT_EQ(notes, Names{"The table people has got new columns since the import; what they hold is found in their "
                           "values: extra."});
    EXPECT_EQ(read("wide").rows[2][3], Cell(2088));
    EXPECT_EQ(warnings,
              (Names{"wide: variable l: 1 value beyond 2^53, where a double does not hold every integer, first "
                     "in observation 2.",
                     "wide: variable w: 3 values inside a period, taken as the whole of it, first in "
                     "observation 1."}));
    EXPECT_EQ(sql("ALTER TABLE people RENAME COLUMN score TO points"), "");
    const std::string refused = sentence_of([&] { read("people"); });
    EXPECT_NE(refused.find("the table people no longer has the column score"), std::string::npos) << refused;
    const size_t remedy = refused.find("DELETE FROM"); // what the sentence offers, with the full stop after it
    EXPECT_EQ(sql(refused.substr(remedy, refused.size() - remedy - 1)), "");
    EXPECT_EQ(read("people").rows[1],
              (std::vector<Cell>{missing_value('A'), missing_value('_'), missing_value('Z'), "nul\0byte"s, 5e-324, 3}));
}

TEST_F(LibraryTest, FormatsComeBackWhole) {
    UserFormat texts{"$CITY", ValueKind::character, true, {}, 5};
    texts.ranges = {{"a"s, "a"s, {"A", "first"}}, {"b\0c"s, "d"s, {""}}};
    UserFormat numbers = sexes();
    numbers.ranges.insert(numbers.ranges.begin() + 1, {missing_value('_'), missing_value('Z'), {"marks"}});
    numbers.ranges.push_back({1e300, infinity, {"high"}});
    library->write_format("Formats", texts);
    for (const UserFormat &format : {sexes(), numbers})
        library->write_format("FORMATS", format);
    library->write_format("OTHER", sexes());
    EXPECT_EQ(library->catalog_names(), (Names{"Formats", "OTHER"}));
    EXPECT_EQ(library->format_names("formats"), (Names{"$CITY", "SEXA"}));
    UserFormat back;
    EXPECT_TRUE(library->read_format("formats", "$city", back));
    EXPECT_EQ(back, texts);
    EXPECT_TRUE(library->read_format("formats", "sexa", back));
    EXPECT_EQ(back, numbers);
    EXPECT_FALSE(library->read_format("NONE", "SEXA", back));
}

TEST_F(LibraryTest, NamesThatNeedCare) {
    Table table;
    for (const char *name : {"a", "A", "a_2", "_rowid_", "rowid", "select", "x\"; --", "", "\xC3\x84", "\xC3\xA4"})
        table.description.variables.push_back(numeric(name));
    table.rows = {{1, 2, 3, 4, 5, 6, 7, 8, 9, missing_value('C')}};
    for (const char *name : {"it's \"odd\"", "order", "people", "people_labelled_x", "\xC3\xA9"}) {
        store(*library, table, name);
        expect_stored(*library, table, name);
    }
    EXPECT_EQ(sql("SELECT a, \"A_2\", \"a_2_2\", \"_rowid__2\", rowid, V8 FROM \"order\""),
              "1.0|2.0|3.0|4.0|5.0|8.0\n");
    library->write_format("FORMATS", sexes());
    sql("CREATE TABLE people_labelled(x); CREATE VIEW seen AS SELECT 1 AS one");
    store(*library, people());
    EXPECT_EQ(sql("SELECT count(*) FROM people_labelled_2"), "5\n") << "a view gives way to a table";
    const std::pair<std::string, const char *> refused[] = {
        {"VOR_x", "names that begin with vor_ belong to the library itself."},
        {"sqlite_x", "names that begin with sqlite_ belong to the library itself."},
        {"seen", "a view in the library has that name."},
        {"PEOPLE_labelled_2", "the view with the labels of another data set has that name."}};
    for (const auto &[name, reason] : refused)
        EXPECT_EQ(sentence_of([&] { library->dataset_sink(name, ""); }),
                  "u: A data set cannot be called " + name + ": " + reason);
    EXPECT_EQ(sentence_of([&] { library->dataset_sink("", ""); }), "u: A data set needs a name.");
    EXPECT_EQ(sentence_of([&] { library->describe("nobody"); }),
              "c: " + path +
                  " has no data set nobody; it has it's \"odd\", order, people, people_labelled, "
                  "people_labelled_x, \xC3\xA9.");
}

TEST_F(LibraryTest, ShapesAtTheEdge) {
    Table no_rows = people();
    no_rows.rows.clear();
    Table wide; // more variables than a table of SQLite has columns
    wide.rows.resize(3);
    for (int i = 0; i < 5000; ++i) {
        wide.description.variables.push_back(numeric(("v" + std::to_string(i)).c_str()));
        for (int row = 0; row < 3; ++row)
            wide.rows[static_cast<size_t>(row)].push_back(i % 7 == 0 ? missing_value('Q') : i + row);
    }
    const auto comes_back = [&](const Table &table, const char *name) {
        store(*library, table, name);
        expect_stored(*library, table, name);
    };
    comes_back({}, "nothing");
    comes_back(no_rows, "no_rows");
    sql("CREATE TABLE wide_2(x)");
    comes_back(wide, "wide");
    comes_back(wide, "wide");
    EXPECT_EQ(library->dataset_names(), (Names{"no_rows", "nothing", "wide", "wide_2"}));
    sql("DELETE FROM wide WHERE _rowid_ = 2");
    EXPECT_EQ(sentence_of([&] { collect(*library->dataset_source("wide")); }),
              "c: " + path + ": the tables wide and wide_2_2 of the data set wide do not hold the same rows.");
}

TEST_F(LibraryTest, NothingOfWhatIsNotFinishedStays) {
    const ScratchDirectory empty;
    put_rows(*Library::open(empty.path("new.db"), Access::write)->dataset_sink("people", ""), people());
    EXPECT_TRUE(empty.names().empty()) << "a library that never held anything is not there";
    {
        const auto all = library->transaction();
        library->write_format("FORMATS", sexes());
        EXPECT_FALSE(std::filesystem::exists(path));
        store(*library, people());
        all->commit();
    }
    EXPECT_EQ(sql("SELECT count(*) FROM people_labelled"), "5\n");
    {
        const auto sink = library->dataset_sink("people", "OTHER");
        library->write_format("OTHER", sexes());
        put_rows(*sink, {people().description, {}});
    }
    expect_stored(*library, people());
    EXPECT_EQ(library->catalog_names(), Names{"FORMATS"});
}

TEST_F(LibraryTest, SaysWhyItCannotBeOpened) {
    const auto opening = [](const std::string &file, Access access) {
        return sentence_of([&] { Library::open(file, access); });
    };
    const std::string none_there = scratch.path("none/lib.db");
    EXPECT_EQ(opening(path, Access::read), "m: " + path + " cannot be opened: No such file or directory.");
    EXPECT_EQ(opening(none_there, Access::write),
              "m: " + none_there + " cannot be written: No such file or directory.");
    EXPECT_EQ(opening(scratch.path("."), Access::read),
              "m: " + scratch.path(".") + " is a directory; a SQLite library was expected.");
    const std::string text = scratch.write("text.db", std::string(2000, 'x'));
    EXPECT_EQ(opening(text, Access::write), "c: " + text + " is not a SQLite library.");
    store(*library, people());
    sql("CREATE VIEW long AS SELECT hex(zeroblob(400000000)) AS v");
    EXPECT_EQ(sentence_of([&] { open(Access::read)->dataset_source("long"); }),
              "c: " + path + " cannot hold a text or an observation this long.");
    std::string damaged = file_bytes(path);
    std::fill(damaged.begin() + 4096, damaged.end(), '\x55');
    const std::string broken = scratch.write("broken.db", damaged);
    EXPECT_EQ(sentence_of([&] { Library::open(broken, Access::read)->dataset_source("people"); }),
              "c: " + broken + " is a damaged SQLite library.");
}

TEST_F(LibraryTest, SaysWhyItCannotBeWritten) {
    store(*library, people());
    const auto writing = [this](Access access) { return sentence_of([&] { open(access)->dataset_sink("x", ""); }); };
    EXPECT_EQ(writing(Access::read), "m: " + path + " cannot be written: it is read-only.");
    {
        const auto sink = library->dataset_sink("x", "");
        EXPECT_EQ(writing(Access::write), "m: " + path + " is locked by another program.");
    }
    {
        const auto reading = library->dataset_source("people");
        Batch row;
        reading->next(row, 1);
        EXPECT_EQ(sentence_of([&] { store(*library, people()); }),
                  "m: " + path + " is being read, so the data set cannot be replaced now.");
        store(*library, people(), "another");
    }
    sql("UPDATE vor_library SET version = 3");
    EXPECT_EQ(writing(Access::write),
              "c: " + path + " is a library of version 3, made by a newer program; this one knows version 2.");
}

TEST_F(LibraryTest, AFullDiskLeavesTheOldDataSet) {
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
    expect_stored(*library, people());
    store(*library, people());
}

TEST_F(LibraryTest, TablesOfOthers) {
    EXPECT_EQ(sql("CREATE TABLE t(id INTEGER PRIMARY KEY, n, d, at TEXT, tm, s TEXT, m, e TEXT, z, gap);"
                  "INSERT INTO t VALUES(1, 0.5, '2000-02-29', '1960-01-01T00:00:01', '00:01:00', '12', 1, NULL, NULL, "
                  "''), (9007199254740993, NULL, NULL, '1960-01-01T00:00:02', NULL, 'it''s', 'one', NULL, NULL, 5),"
                  "(3, 2, '', NULL, '00:00:00', '', 2.5, NULL, NULL, NULL);"
                  "CREATE VIEW v AS SELECT n * 2 AS twice FROM t; CREATE TABLE b(x, y);"
                  "INSERT INTO b VALUES(1, 2), (3, x'00')"),
              "");
    Names notes;
    const auto others = open(Access::read);
    auto source = others->dataset_source("T", [&](const std::string &note) { notes.push_back(note); });
    const Table back = collect(*source);
    source.reset();
    EXPECT_EQ(notes, (Names{"Column id holds 1 integer beyond 9007199254740992 that a double cannot hold exactly, the "
                            "first in row 3.",
                            "Column m holds numbers and text; its numbers are taken as text."}));
    std::string kinds;
    for (const Variable &variable : back.description.variables)
        kinds += variable.kind == ValueKind::numeric ? "n" + format_text(variable.format) + ' '
                                                     : "c" + std::to_string(variable.length) + ' ';
    EXPECT_EQ(kinds, "n n nE8601DA10. nE8601DT26.6 nE8601TM15.6 c4 c24 c1 n n ");
    EXPECT_EQ(back.rows, (Cells{{1, 0.5, 14669, 1, 60, "12", "1", "", none, none},
                                {3, 2, none, none, 0, "", "2.5", "", none, none},
                                {9007199254740992.0, none, none, 2, none, "it's", "one", "", none, 5}}));
    EXPECT_EQ(back.description.observations, 3);
    EXPECT_EQ(collect(*others->dataset_source("v")).rows, (Cells{{1}, {4}, {none}}));
    EXPECT_EQ(sentence_of([&] { others->describe("b"); }),
              "c: " + path + ": row 2, column 2 (y) of b is a BLOB; numbers and text were expected.");
    EXPECT_EQ(others->dataset_names(), (Names{"b", "t"}));
    EXPECT_EQ(sentence_of([&] { store(*open(Access::write), people(), "t"); }),
              "u: A data set cannot be called t: a table in the library has that name, and no import made it; "
              "--replace lets it go.");
    put(*open(Access::write)->dataset_sink("t", {}, Library::Tables::replaced), people());
    expect_stored(*others, people(), "t");
}

TEST_F(LibraryTest, NamedLibrariesAndWork) {
    Libraries libraries;
    libraries.assign("Lib", open(Access::write));
    using Written = FormatCatalogs::Written;
    UserFormat changed = sexes(), back;
    changed.ranges.pop_back();
    for (const char *name : {"LIB", "WORK"}) {
        EXPECT_EQ(libraries.write(name, "FORMATS", changed, false), Written::stored);
        EXPECT_EQ(libraries.write(name, "FORMATS", sexes(), false), Written::stored);
        EXPECT_EQ(libraries.write(name, "FORMATS", changed, true), Written::kept_old);
        EXPECT_TRUE(libraries.read(name, "formats", "sexa", back));
        EXPECT_EQ(back, sexes());
    }
    EXPECT_FALSE(libraries.read("NOWHERE", "FORMATS", "SEXA", back));
    EXPECT_EQ(sentence_of([&] { libraries.write("NOWHERE", "FORMATS", sexes(), false); }),
              "c: The format SEXA cannot be stored: there is no library NOWHERE.");
    EXPECT_EQ(sentence_of([&] { libraries.assign("TOOLONGNAME", nullptr); }),
              "u: \"TOOLONGNAME\" cannot name a library: names have 1 to 8 characters.");
    EXPECT_EQ(sql("SELECT count(*) FROM vor_formats"), "1\n") << "WORK is nobody's file";
}

} // namespace
} // namespace vor::test
