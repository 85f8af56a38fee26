// Data sets as Arrow streams: out and in again through the C interface, and read by an engine that knows nothing of
// ours, which VORDTA_DUCKDB names.
#include "collected_import.h"
#include "corpus.h"
#include "tables/duckdb.h"
#include "whole_file.h"

#include <vorhost/parquet.h>
#include <vorhost/temporal.h>
#include <vorhost/vordta.h>

#include <cstdlib>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

// Every file of a release that can hold what the file before it says, and what no corpus has.
std::vector<std::string> rich_files(const ScratchDirectory &scratch) {
    std::vector<std::string> files;
    StataFile file{.release = 118};
    file.variables = {{.name = "x", .type = Type::byte, .value_label = "t"},
                      {.name = "X", .type = Type::float64, .format = "%td"},
                      {.name = "x_missing", .type = Type::float64, .format = "%tm"},
                      {.name = "c", .type = Type::float64, .format = "%tc"},
                      {.name = "half", .type = Type::float64, .format = "%td"},
                      {.name = "L", .type = Type::strl, .format = "%9s"}};
    file.rows = {{1, -3653, -23, -61000000000123.0, 0.5, std::string("long")},
                 {missing('a'), 2932896, missing('z'), 40000000000999.0, 1, Cell(binary(std::string("\0\1\xFF", 3)))},
                 {7, missing(), 1200, missing('c'), 2, ""}};
    file.value_labels = {{"t", {{1, "one"}}}};
    files.push_back(scratch.write("rich.dta", build(file)));
    for (const auto &path : corpus_files())
        files.push_back(path.string());
    return files;
}

// What a file says, but for what the release that is written does not have.
std::vector<std::vector<std::string>> rows_of(const std::string &path) {
    return sound_import(path, {}).rows;
}

TEST(Arrow, AStreamThatComesBackLosesNothing) {
    const ScratchDirectory scratch;
    const std::string back = scratch.path("back.dta");
    for (const std::string &path : rich_files(scratch)) {
        SCOPED_TRACE(path);
        vordta_reader *reader = nullptr;
        ASSERT_EQ(vordta_open(path.c_str(), R"({"missing": "marks"})", &reader), 0) << vordta_last_error();
        EXPECT_NE(std::string(vordta_describe(reader)).find("\"variables\""), std::string::npos);
        for (const bool again : {false, true}) {
            ArrowArrayStream stream = {};
            ASSERT_EQ(vordta_stream(reader, &stream), 0) << again << vordta_last_error();
            // Some numbers of these mean missing values now.
            const bool old = !has_extended_marks(ImportSession({}, {}, path).summary().release);
            ASSERT_EQ(vordta_write(back.c_str(), old ? R"({"types": "double"})" : nullptr, &stream), 0)
                << vordta_last_error();
            EXPECT_EQ(stream.release, nullptr);
        }
        const CollectedImport before = sound_import(path, {});
        const CollectedImport after = sound_import(back, {});
        const std::string log = vordta_take_log();
        vordta_close(reader);
        if (log.find("WARNING") != std::string::npos)
            continue; // values that files of today cannot hold
        EXPECT_EQ(after.rows, before.rows);
        DataSet described = after.description;
        described.observations = before.description.observations;
        for (size_t i = 0; i < described.variables.size(); ++i) // where they would be missing values now
            described.variables[i].stored = before.description.variables[i].stored;
        EXPECT_EQ(described, before.description);
    }
}

TEST(Arrow, PartsAndWrongUse) {
    const ScratchDirectory scratch;
    const std::string path = rich_files(scratch)[0];
    const struct {
        const char *options;
        int code;
        const char *says;
    } cases[] = {
        {R"({"columns": ["X", "c"], "rows": [1, 1], "labels": "categories"})", 0, ""},
        {R"({"columns": ["nobody"]})", 2, "has no variable nobody"},
        {R"({"rows": [-1, 5]})", 2, "from 0"},
        {R"({"labels": "texts"})", 2, "\"codes\" or \"categories\""},
        {R"({"colour": 1})", 2, "no option \"colour\""},
        {"[", 2, "The options are not as expected"},
    };
    for (const auto &one : cases) {
        vordta_reader *reader = nullptr;
        EXPECT_EQ(vordta_open(path.c_str(), one.options, &reader), one.code) << one.options;
        if (one.code != 0) {
            EXPECT_NE(std::string(vordta_last_error()).find(one.says), std::string::npos) << vordta_last_error();
            continue;
        }
        ArrowArrayStream stream = {};
        ASSERT_EQ(vordta_stream(reader, &stream), 0);
        ASSERT_EQ(vordta_write(scratch.path("part.dta").c_str(), nullptr, &stream), 0) << vordta_last_error();
        EXPECT_EQ(rows_of(scratch.path("part.dta")).size(), 1U);
        vordta_close(reader);
    }
    vordta_reader *reader = nullptr;
    EXPECT_EQ(vordta_open(scratch.path("none.dta").c_str(), nullptr, &reader), 3);
    EXPECT_EQ(vordta_open(nullptr, nullptr, &reader), 2);
    EXPECT_EQ(vordta_write("o.dta", nullptr, nullptr), 2);
}

bool has_duckdb() {
    const char *library = std::getenv("VORDTA_DUCKDB");
    return library && *library;
}

// The values of the stream are those of the delimited text, column by column, as SQL sees both.
void expect_same_values(const std::string &path, const ScratchDirectory &scratch, bool dictionaries) {
    ImportSession delimited({}, {}, path);
    import_rows(delimited, *delimited_sink(scratch.path("values.csv"),
                                           {.labels = dictionaries ? LabelForm::text : LabelForm::codes}));
    ImportSession session({}, {}, path);
    const std::vector<vor::Variable> variables = session.description().variables;
    ArrowArrayStream stream = {};
    make_arrow_stream(import_source(session), {.dictionaries = dictionaries}, &stream);
    DuckDb database(2);
    database.show("arrow", stream);
    database.run("CREATE TABLE s AS SELECT * FROM arrow");
    stream.release(&stream);
    database.run(fmt::format("CREATE TABLE c AS SELECT * FROM read_csv({}, all_varchar = true, delim = ',', quote = "
                             "'\"', escape = '\"', header = true, max_line_size = 100000000)",
                             sql_text(scratch.path("values.csv"))));
    EXPECT_EQ(database.value("SELECT count(*) FROM s"), database.value("SELECT count(*) FROM c"));
    for (size_t i = 0; i < variables.size(); ++i) {
        const auto at = [&](const char *table) {
            return database.value(fmt::format("SELECT column_name FROM duckdb_columns() WHERE table_name = '{}' AND "
                                              "column_index = {}",
                                              table, i + 1));
        };
        const std::string type = database.value(
            fmt::format("SELECT data_type FROM duckdb_columns() WHERE table_name = 's' AND column_index = {}", i + 1));
        const bool number_of_a_moment =
            temporal_class(variables[i]) != Temporal::none && (type == "DOUBLE" || type == "FLOAT");
        if (type == "BLOB" || number_of_a_moment)
            continue;
        // Labels of missing values are no entries of a dictionary.
        const bool labelled = dictionaries && variables[i].kind == ValueKind::numeric && type == "VARCHAR";
        const std::string cast = type == "VARCHAR" ? "coalesce(c.\"{2}\", '')" : "TRY_CAST(c.\"{2}\" AS {0})";
        const std::string sql = fmt::format(
            fmt::runtime(
                "SELECT count(*) FROM s POSITIONAL JOIN c WHERE (s.\"{1}\" IS NOT NULL OR {3}) AND s.\"{1}\" IS "
                "DISTINCT FROM " +
                cast),
            type, at("s"), at("c"), !labelled);
        EXPECT_EQ(database.value(sql), "0") << variables[i].name << " " << type;
    }
}

TEST(Arrow, AnEngineReadsTheValuesOfTheText) {
    if (!has_duckdb())
        GTEST_SKIP() << "VORDTA_DUCKDB names no library.";
    const ScratchDirectory scratch;
    for (const std::string &path : rich_files(scratch))
        for (const bool dictionaries : {false, true}) {
            SCOPED_TRACE(path);
            expect_same_values(path, scratch, dictionaries);
        }
}

TEST(Arrow, ParquetFilesComeBack) {
    if (!has_duckdb())
        GTEST_SKIP() << "VORDTA_DUCKDB names no library.";
    const ScratchDirectory scratch;
    for (const std::string &path : rich_files(scratch)) {
        SCOPED_TRACE(path);
        ImportSession session({}, {}, path);
        CapturedLog log;
        HostOptions host;
        host.log = &log;
        write_parquet(scratch.path("*.parquet"), import_source(session), {});
        export_source(host, {}, scratch.path("back.dta"), *parquet_source(scratch.path("*.parquet")));
        if (!log.contains("WARNING")) {
            EXPECT_EQ(rows_of(scratch.path("back.dta")), rows_of(path));
        }
    }
    EXPECT_THROW(parquet_source(scratch.write("no.parquet", "no Parquet")), ConversionError);
}

} // namespace
} // namespace vor::test
