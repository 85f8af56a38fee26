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
    std::unique_ptr<RowSource> source;
    Schema schema;
    {
        ImportSession import(host, {}, from);
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
            source = delimited_source(scratch.path("trip.csv"), ',', &schema);
        }
    }
    ExportSession session(host, {}, to, source->description());
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

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// "value=label" for each label of a variable, in the catalog's order.
std::vector<std::string> labels_of(const CollectedImport &import, const vor::Variable &variable) {
    std::vector<std::string> texts;
    for (const auto &[name, format] : import.catalogs.formats)
        if (!variable.format.name.empty() && upper(name) == upper(variable.format.name))
            for (const FormatRange &range : format.ranges)
                texts.push_back(value_text(std::get<double>(range.start)) + "=" + range.labels.at(0));
    return texts;
}

void expect_same(const CollectedImport &first, const CollectedImport &second) {
    ASSERT_FALSE(first.error) << first.error->what();
    ASSERT_FALSE(second.error) << second.error->what();
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
        EXPECT_EQ(labels_of(second, after[i]), labels_of(first, before[i]));
    }
    ASSERT_EQ(second.rows.size(), first.rows.size());
    for (size_t row = 0; row < first.rows.size(); ++row)
        for (size_t i = 0; i < before.size(); ++i)
            ASSERT_EQ(second.rows[row][i], kept_cell(first.rows[row][i], before[i]))
                << "row " << row + 1 << ", variable " << before[i].name;
}

void expect_round_trip(const std::string &path, const ScratchDirectory &scratch) {
    const CollectedImport first = collect_import(path);
    for (const Route route : {Route::library, Route::csv}) {
        SCOPED_TRACE(route == Route::library ? "through a library" : "through CSV");
        const std::string back = scratch.path("back.dta");
        carry(path, back, route, scratch);
        expect_same(first, collect_import(back));
    }
}

TEST(RoundTrip, EveryReleaseComesBack) {
    const ScratchDirectory scratch;
    for (const int release : all_releases()) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            StataFile file = whole_file(release, order, 40);
            if (is_tagged(release))
                add_tagged_variables(file);
            expect_round_trip(scratch.write("whole.dta", build(file)), scratch);
        }
    }
}

TEST(RoundTrip, LabelsOfMissingValuesComeBack) {
    const ScratchDirectory scratch;
    StataFile file{.release = 118};
    file.variables = {{.name = "x", .type = Type::byte, .value_label = "x"}};
    file.rows = {{1}, {missing('a')}, {missing('z')}, {missing()}};
    file.value_labels = {{"x", {{1, "one"}, {missing('a'), "refused"}, {missing('z'), "lost"}, {missing(), "empty"}}}};
    const std::string path = scratch.write("marks.dta", build(file));
    EXPECT_EQ(labels_of(collect_import(path), collect_import(path).description.variables[0]).size(), 4U);
    expect_round_trip(path, scratch);
}

// Texts among the labels of a numeric variable would be taken for the bytes of numbers.
TEST(RoundTrip, FormatsOfTheOtherKindAreLeftOut) {
    const ScratchDirectory scratch;
    const std::string back = scratch.path("back.dta");
    const UserFormat texts{.name = "TEXTS", .kind = ValueKind::character, .ranges = {{"x", "x", {"ex"}}}};
    UserFormat dollar = texts;
    dollar.name = "$TEXTS";
    CatalogMap catalogs;
    catalogs.formats = {
        {"TEXTS", texts}, {"$TEXTS", dollar}, {"NUMBERS", {.name = "NUMBERS", .ranges = {{1.0, 1.0, {"one"}}}}}};
    HostOptions host;
    host.catalogs = &catalogs;
    DataSet data;
    data.variables = {{"a", "", ValueKind::numeric, 8, {"TEXTS", 0, 0}, {}},
                      {"b", "", ValueKind::numeric, 8, {"$TEXTS", 0, 0}, {}},
                      {"c", "", ValueKind::character, 4, {"NUMBERS", 0, 0}, {}}};
    ExportSession session(host, {}, back, data);
    session.row().set_number(0, 1);
    session.row().set_number(1, 2);
    session.row().set_text(2, "x");
    session.put();
    session.finish();
    const CollectedImport import = collect_import(back);
    EXPECT_EQ(import.rows, (std::vector<std::vector<std::string>>{{"1", "2", "'x'"}}));
    EXPECT_TRUE(import.catalogs.formats.empty());
}

TEST(RoundTrip, TheCollectionComesBack) {
    const auto folder = corpus_folder();
    if (!folder)
        GTEST_SKIP() << "VORDTA_CORPUS is not set";
    const ScratchDirectory scratch;
    for (const auto &path : corpus_paths(*folder)) {
        SCOPED_TRACE(path.filename().string());
        expect_round_trip(path.string(), scratch);
    }
}

} // namespace
} // namespace vor::test
