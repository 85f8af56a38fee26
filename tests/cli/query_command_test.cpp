// vordta query, the condition of import and head, and the extension: what people ask and get.
#include "command_test.h"
#include "whole_file.h"

#include <cstdlib>
#include <filesystem>

namespace vor::test {
namespace {

class QueryCommand : public CommandTest {
  protected:
    QueryCommand() {
        StataFile file = whole_file(118, ByteOrder::little, 20000);
        scratch.write("long.dta", build(file));
    }
    std::string answer(const std::string &sql, const std::string &files = "visits.dta") const {
        return output_of("query '" + sql + "' " + files + " --to -");
    }
};

TEST_F(QueryCommand, Answers) {
    const struct {
        const char *sql;
        const char *csv;
    } cases[] = {
        {"SELECT * FROM visits", visits_csv},
        {"SELECT count(*) AS n FROM visits", "n\n3\n"},
        {"SELECT label(id) AS who, mark(id) AS m FROM visits", "who,m\nAnna,\n\"Bo, jr.\",\nnobody,.a\n"},
        {"SELECT mark(id) AS m, count(*) AS n FROM visits GROUP BY mark(id) ORDER BY n", "m,n\n.a,1\n,2\n"},
        {"SELECT mark ( v . \"id\" ) AS m /* mark(x) */ FROM visits v -- label(id)", "m\n\"\"\n\"\"\n.a\n"},
        {"SELECT id FROM visits_labelled", "id\nAnna\n\"Bo, jr.\"\nnobody\n"},
        {"SELECT rowid AS r FROM visits WHERE rowid > 1.5 AND rowid <= 3", "r\n2\n3\n"},
        {"SELECT rowid AS r FROM visits WHERE rowid = 2", "r\n2\n"},
        {"SELECT rowid AS r FROM visits WHERE rowid BETWEEN -7 AND 1 OR rowid > 9223372036854775807", "r\n1\n"},
        {"SELECT a.rowid AS a, b.rowid AS b FROM visits a JOIN visits b ON b.rowid = a.rowid + 1", "a,b\n1,2\n2,3\n"},
        {"SELECT max(rowid) AS last, count(id) AS n FROM visits", "last,n\n3,2\n"},
    };
    for (const auto &[sql, csv] : cases)
        EXPECT_EQ(answer(sql), csv) << sql;
    EXPECT_EQ(answer("SELECT count(*) AS n FROM a JOIN b ON a.rowid = b.rowid", "a=visits.dta b=visits.dta"), "n\n3\n");
}

TEST_F(QueryCommand, EveryRowOfEveryBatch) {
    output_of("import long.dta long.csv");
    EXPECT_EQ(answer("SELECT * FROM long", "long.dta"), bytes("long.csv"));
    output_of("query 'SELECT * FROM long' long.dta --to again.dta");
    EXPECT_EQ(imported("again.dta").rows, imported("long.dta").rows) << "marks and all";
    output_of("import long.dta some.csv --where 'rowid % 7 = 3' --rows 100:");
    output_of("query 'SELECT * FROM long WHERE rowid >= 100 AND rowid % 7 = 3' long.dta --to same.csv");
    EXPECT_EQ(bytes("some.csv"), bytes("same.csv"));
    output_of("import long.dta l.db --where 'rowid > 19990'");
    EXPECT_EQ(run("diff l.db:long long.dta").status, 1);
    EXPECT_NE(output_of("head visits.dta --where 'label(id) IS NOT NULL AND id = 1'").find("\n 1 "), std::string::npos);
}

TEST_F(QueryCommand, LostMarksAreSaid) {
    const CommandResult result = run("query 'SELECT id FROM visits ORDER BY id' visits.dta --to sorted.dta");
    EXPECT_NE(result.err.find("WARNING: Column id: 1 value missing without the mark"), std::string::npos) << result.err;
    expect_failure("query 'SELECT id FROM visits ORDER BY id' visits.dta --to strict.dta --strict", 1, "Column id");
}

TEST_F(QueryCommand, OnlyReads) {
    const struct {
        const char *sql;
        int status;
        const char *part;
    } cases[] = {
        {"DROP TABLE visits", 2, "only reads"},
        {"ATTACH \"stolen.db\" AS s", 2, "only reads"},
        {"PRAGMA writable_schema = 1", 2, "only reads"},
        {"CREATE TABLE t(x)", 2, "only reads"},
        {"SELECT load_extension(\"x\")", 2, "load_extension"},
        {"SELECT * FROM pragma_database_list", 2, ""},
        {"SELECT 1; DROP TABLE visits", 2, "more than one statement"},
        {"SELECT mark(1 + 1) FROM visits", 2, "no such function: mark"},
        {"SELECT nosuch FROM visits", 2, "no such column: nosuch"},
        {" -- nothing", 2, "no statement"},
    };
    for (const auto &[sql, status, part] : cases)
        expect_failure(std::string("query '") + sql + "' visits.dta", status, part);
    expect_failure("query 'SELECT x FROM damaged' damaged.dta", 1, "damaged.dta");
    expect_failure("query 'SELECT 1' visits.dta visits.dta", 2, "Two tables would be called visits");
    expect_failure("query 'SELECT 1' none.dta", 3, "none.dta");
    expect_failure("head visits.dta --where 'x >'", 2, "The SQL is wrong");
}

TEST_F(QueryCommand, AnyClientOfSqlite) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "a client without the sanitizers cannot load what has them";
#endif
    if (std::system("command -v sqlite3 >/dev/null") != 0)
        GTEST_SKIP() << "there is no sqlite3";
    const std::string extension =
        std::filesystem::path(std::getenv("VORDTA_MODULE")).parent_path().string() + "/libvordta_sqlite.so";
    const std::string command = "cd " + scratch.path("") + " && sqlite3 :memory: '.load " + extension +
                                "' \"CREATE VIRTUAL TABLE t USING dta('visits.dta')\" "
                                "'SELECT \"id:label\", \"id:mark\" FROM t WHERE rowid = 3' > out.txt 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << bytes("out.txt");
    EXPECT_EQ(bytes("out.txt"), "nobody|.a\n");
}

} // namespace
} // namespace vor::test
