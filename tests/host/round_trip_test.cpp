// There and back again: what is imported, exported and imported once more is the same. Through a library, and through
// CSV with its schema; for every release and byte order, and for every file of the collection.
#include "collected_import.h"
#include "corpus.h"
#include "whole_file.h"

#include <vorhost/library.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

constexpr size_t longest_string = 2045; // what the writer keeps of a text

enum class Route { library, csv };

// Carries an import over the route into a new Stata file.
void carry(const std::string &from, const std::string &to, Route route, const ScratchDirectory &scratch) {
    CatalogMap catalogs;
    HostOptions host;
    host.catalogs = &catalogs;
    std::unique_ptr<BatchSource> source;
    Schema schema;
    {
        ImportSession import(host, base_import, from);
        if (route == Route::library) {
            const auto library = Library::open(scratch.path("trip.db"), Library::Access::write);
            import_rows(import, *library->dataset_sink("trip", "FORMATS"));
            source = library->dataset_source("trip");
        } else {
            import_rows(import, *delimited_sink(scratch.path("trip.csv"), {}));
            schema.description = import.description();
            for (const auto &[name, format] : catalogs.formats)
                schema.formats.push_back(format);
            schema = parse_schema(schema_json(schema), "trip.json");
            source = delimited_source(scratch.path("trip.csv"), {.schema = &schema});
        }
    }
    ExportSession session(host, base_export, to, source->description());
    export_rows(session, *source);
}

// A value as the writer keeps it: long texts and blanks at the end are cut; dates beyond 32 bits of days and numbers
// from 2 to the power 1023 on have no place in a Stata file and become missing.
std::string kept_cell(const std::string &cell, const vor::Variable &variable) {
    if (variable.kind == ValueKind::numeric) {
        const double number = parse_number_text(cell).value_or(0);
        const bool date = temporal_class(variable.format) == Temporal::date;
        const bool lost = date ? std::fabs(number) > 2147483620.0 : number >= 0x1p1023;
        return lost && !is_missing(number) ? "." : cell;
    }
    std::string text = cell.substr(1, std::min(cell.size() - 2, longest_string));
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return "'" + text + "'";
}

// Reserved words, which other programs have written as names, get an underscore.
std::string kept_name(const std::string &name) {
    return name == "byte" || name == "int" || name == "long" || name == "float" || name == "double" ? name + "_" : name;
}

void expect_same(const CollectedImport &first, const CollectedImport &second) {
    const auto &before = first.description.variables;
    const auto &after = second.description.variables;
    ASSERT_EQ(after.size(), before.size());
    for (size_t i = 0; i < before.size(); ++i) {
        SCOPED_TRACE("variable " + before[i].name);
        EXPECT_EQ(after[i].name, kept_name(before[i].name));
        // A variable without a label has its name for one.
        EXPECT_EQ(after[i].label, before[i].label);
        EXPECT_EQ(after[i].kind, before[i].kind);
        EXPECT_EQ(temporal_class(after[i].format), temporal_class(before[i].format));
        EXPECT_EQ(second.labels_of(after[i]), first.labels_of(before[i]));
    }
    ASSERT_EQ(second.rows.size(), first.rows.size());
    for (size_t row = 0; row < first.rows.size(); ++row)
        for (size_t i = 0; i < before.size(); ++i)
            ASSERT_EQ(second.rows[row][i], kept_cell(first.rows[row][i], before[i]))
                << "row " << row + 1 << ", variable " << before[i].name;
}

void expect_round_trip(const std::string &path, const ScratchDirectory &scratch) {
    const CollectedImport first = sound_import(path);
    for (const Route route : {Route::library, Route::csv}) {
        SCOPED_TRACE(route == Route::library ? "through a library" : "through CSV");
        const std::string back = scratch.path("back.dta");
        carry(path, back, route, scratch);
        expect_same(first, sound_import(back));
    }
}

TEST(RoundTrip, EveryReleaseComesBack) {
    const ScratchDirectory scratch;
    for_each_whole_file(
        40, [&](const StataFile &file) { expect_round_trip(scratch.write("whole.dta", build(file)), scratch); });
}

TEST(RoundTrip, LabelsOfMissingValuesComeBack) {
    const ScratchDirectory scratch;
    StataFile file{.release = 118};
    file.variables = {{.name = "x", .type = Type::byte, .value_label = "x"}};
    file.rows = {{1}, {missing('a')}, {missing('z')}, {missing()}};
    file.value_labels = {{"x", {{1, "one"}, {missing('a'), "refused"}, {missing('z'), "lost"}, {missing(), "empty"}}}};
    const std::string path = scratch.write("marks.dta", build(file));
    const CollectedImport import = sound_import(path);
    EXPECT_EQ(import.labels_of(import.description.variables.at(0)).size(), 4U);
    expect_round_trip(path, scratch);
}

// Formats are named after variables, and some names, or their beginnings, mean dates.
TEST(RoundTrip, VariablesNamedLikeFormatsOfDates) {
    const ScratchDirectory scratch;
    StataFile file{.release = 118, .rows = {{}, {}}, .value_labels = {{"t", {{1, "one"}, {2, "two"}}}}};
    for (const char *name : {"yymm", "yyqtr", "mmyyx", "ddmmyyx", "weeku", "nldate1", "nltime", "nldatm", "eurdf",
                             "x8601da", "b8601da", "date", "time", "e", "best"}) {
        file.variables.push_back({.name = name, .type = Type::float64, .value_label = "t"});
        file.rows[0].emplace_back(1.5);
        file.rows[1].emplace_back(9999999999.0);
    }
    const std::string path = scratch.write("names.dta", build(file));
    const CollectedImport import = sound_import(path);
    for (const vor::Variable &variable : import.description.variables) {
        EXPECT_EQ(temporal_class(variable.format), Temporal::none) << variable.name;
        EXPECT_EQ(import.labels_of(variable).size(), 2U) << variable.name;
    }
    expect_round_trip(path, scratch);
}

// Texts among the labels of a numeric variable would be taken for the bytes of numbers.
TEST(RoundTrip, FormatsOfTheOtherKindAreLeftOut) {
    const UserFormat texts{.name = "TEXTS", .kind = ValueKind::character, .ranges = {{"x", "x", {"ex"}}}};
    const UserFormat numbers{.name = "NUMBERS", .ranges = {{1.0, 1.0, {"one"}}}};
    CatalogMap catalogs;
    catalogs.formats = {{"TEXTS", texts}, {"$TEXTS", texts}, {"NUMBERS", numbers}};
    catalogs.formats["$TEXTS"].name = "$TEXTS";
    CapturedLog log;
    HostOptions host;
    host.log = &log;
    host.catalogs = &catalogs;
    DataSet data;
    data.variables = {{"a", "", ValueKind::numeric, 8, {"TEXTS", 0, 0}, {}},
                      {"b", "", ValueKind::numeric, 8, {"$TEXTS", 0, 0}, {}},
                      {"c", "", ValueKind::character, 4, {"NUMBERS", 0, 0}, {}}};
    const ScratchDirectory scratch;
    ExportSession session(host, base_export, scratch.path("back.dta"), data);
    Batch row;
    row.start(data.variables, 0);
    row.columns[0].append(1);
    row.columns[1].append(2);
    row.columns[2].append_text("x");
    row.end_row(1);
    session.put(row);
    session.finish();
    const CollectedImport import = sound_import(scratch.path("back.dta"));
    EXPECT_EQ(import.rows, (std::vector<std::vector<std::string>>{{"1", "2", "'x'"}}));
    EXPECT_TRUE(import.catalogs.formats.empty());
    for (const char *format : {"format TEXTS", "format $TEXTS", "format NUMBERS"})
        EXPECT_TRUE(log.contains(format + std::string(" are not written"))) << log.text();
}

TEST(RoundTrip, TheCollectionComesBack) {
    const auto files = corpus_files();
    if (files.empty())
        GTEST_SKIP() << "VORDTA_CORPUS is not set";
    const ScratchDirectory scratch;
    for (const auto &path : files) {
        SCOPED_TRACE(path.filename().string());
        expect_round_trip(path.string(), scratch);
    }
}

} // namespace
} // namespace vor::test
