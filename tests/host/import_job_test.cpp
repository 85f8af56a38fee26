// Whole files of every release and byte order through the loaded module; damaged ones, too.
#include "collected_import.h"
#include "release_layout.h"
#include "stata_file_builder.h"
#include "whole_file.h"

#include <vor/format_limits.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

using namespace std::string_literals;

constexpr int ordinary_rows = 1500; // more than one read of the module holds

std::vector<std::vector<std::string>> expected_rows(int release) {
    const std::string first = has_extended_marks(release) ? ".a" : ".";
    const std::string last = has_extended_marks(release) ? ".z" : ".";
    std::vector<std::vector<std::string>> rows = {
        {"-127", "-32767", "-2147483647", "-0.5", "1e-300", "0", "'ab'"},
        {"1", "32740", "2147483620", value_text(static_cast<float>(1.5e38)), "1e+300", "14669", "'Z\xC3\xBCrich'"},
        {first, first, first, first, first, first, "''"},
        {last, last, last, last, last, last, "'  lead'"},
        {".", ".", ".", ".", ".", ".", "'a b'"}};
    for (int row = 0; row < ordinary_rows; ++row) {
        rows.push_back({value_text(row % 100), value_text(row), value_text(row * 1000), value_text(row * 0.5),
                        value_text(row * 0.25), value_text(row), value_text(std::to_string(row))});
    }
    if (is_tagged(release)) {
        for (std::size_t row = 0; row < rows.size(); ++row) {
            rows[row].insert(rows[row].end(), {value_text(static_cast<double>(row)), "1", "'text'"});
        }
        rows[0].back() = rows[3].back() = "''";
        rows[1].back() = rows[2].back() = "'two\xC3\xA9'";
    }
    return rows;
}

void expect_whole_file(const CollectedImport &import, int release, ByteOrder order) {
    ASSERT_FALSE(import.error) << import.error->what();
    EXPECT_EQ(import.summary.release, release);
    EXPECT_EQ(import.summary.big_endian, order == ByteOrder::big);
    EXPECT_EQ(import.summary.data_label, "Whole");
    EXPECT_EQ(import.summary.observations, 5 + ordinary_rows);
    std::vector<std::string> formats;
    for (const vor::Variable &variable : import.description.variables) {
        formats.push_back(format_text(variable.format));
    }
    std::vector<std::string> expected = {"B.", "8.", "10.2", "E9.", "", has_date_formats(release) ? "MMDDYY10." : "",
                                         "$7."};
    if (is_tagged(release)) {
        expected.insert(expected.end(), {"DATETIME16.", "TIME.", "$5."});
    }
    EXPECT_EQ(formats, expected);
    EXPECT_EQ(import.description.variables[0].label, "A byte");
    EXPECT_EQ(import.description.variables[1].label, "i") << "the name stands for a label that is not there";
    ASSERT_EQ(import.catalogs.formats.size(), 1U) << "tables that no variable uses are not formats";
    const UserFormat &labels = import.catalogs.formats.begin()->second;
    ASSERT_EQ(labels.ranges.size(), 2U);
    EXPECT_EQ(labels.ranges[1].start, FormatValue(1.0));
    EXPECT_EQ(labels.ranges[1].labels, std::vector<std::string>{"yes"});
    EXPECT_EQ(import.rows, expected_rows(release));
}

TEST(ImportJob, EveryReleaseInEitherByteOrder) {
    const ScratchDirectory scratch;
    for (const int release : all_releases()) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            StataFile file = whole_file(release, order, ordinary_rows);
            if (is_tagged(release)) {
                add_tagged_variables(file);
            }
            expect_whole_file(collect_import(scratch.write("whole.dta", build(file))), release, order);
        }
    }
}

ImportSession::Options selecting(Selection selection) {
    ImportSession::Options options;
    options.selection = std::move(selection);
    return options;
}

// The rows of a whole import that a selection leaves.
std::vector<std::vector<std::string>> part_of(const CollectedImport &whole, std::size_t first_row,
                                              const std::vector<std::size_t> &columns) {
    std::vector<std::vector<std::string>> rows;
    for (std::size_t row = first_row - 1; row < whole.rows.size(); ++row) {
        rows.emplace_back();
        for (const std::size_t column : columns) {
            rows.back().push_back(whole.rows[row][column]);
        }
    }
    return rows;
}

TEST(ImportJob, SelectionsOfEveryReleaseInEitherByteOrder) {
    constexpr std::size_t all = 5 + ordinary_rows;
    const ScratchDirectory scratch;
    for (const int release : all_releases()) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            StataFile file = whole_file(release, order, ordinary_rows);
            if (is_tagged(release)) {
                add_tagged_variables(file);
            }
            const std::string path = scratch.write("whole.dta", build(file));
            const CollectedImport whole = collect_import(path);
            const std::vector<vor::Variable> &variables = whole.description.variables;
            const std::vector<std::string> names = {variables.back().name, variables[1].name};
            // The last rows, one buffer and several into the file, and behind its end.
            for (const std::size_t first : {std::size_t{2}, std::size_t{1200}, all, all + 1, all + 1000}) {
                SCOPED_TRACE(first);
                const CollectedImport part =
                    collect_import(path, selecting({.keep = names, .first_row = static_cast<int64_t>(first)}));
                ASSERT_FALSE(part.error) << part.error->what();
                EXPECT_EQ(part.rows, part_of(whole, std::min(first, all + 1), {1, variables.size() - 1}));
                EXPECT_EQ(part.description.observations, static_cast<int64_t>(part.rows.size()));
                EXPECT_TRUE(part.log.contains("has " + std::to_string(part.rows.size()) + " observations"))
                    << part.log.text();
                EXPECT_TRUE(part.catalogs.formats.empty()) << "the labels of a variable left out";
            }
        }
    }
}

TEST(ImportJob, SelectedVariables) {
    StataFile file{.release = 114,
                   .variables = {{.name = "a", .type = Type::byte, .value_label = "t"},
                                 {.name = "S", .type = str(2)},
                                 {.name = "b", .type = Type::byte, .value_label = "u"}}};
    file.rows = {{1, "x", 3}, {2, "\xE4", 4}};
    file.value_labels = {{"t", {{1, "one"}}}, {"u", {{3, "three"}}}};
    const ScratchDirectory scratch;
    const std::string path = scratch.write("f.dta", build(file));
    const struct {
        Selection selection;
        std::vector<std::string> last_row; // empty: refused
        std::string sentence;              // of the refusal, or of the log
    } cases[] = {
        {{.keep = {"b", "a"}}, {"2", "4"}, "2 of 3 variables are kept."},
        {{.keep = {"S"}, .first_row = 2}, {"'\xC3\xA4'"}, "first in observation 2"},
        {{.drop = {"S", "b"}}, {"2"}, "1 of 3 variables are kept."},
        {{.keep = {"a", "b"}, .drop = {"b"}}, {"2"}, "1 of 3"},
        {{.drop = {"a"}, .first_row = 3}, {}, ""},
        {{.keep = {"a", "c"}}, {}, "f.dta has no variable c; it has a, S, b."},
        {{.drop = {"s"}}, {}, "has no variable s, but one named S."},
        {{.drop = {"a", "S", "b"}}, {}, "No variable of"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.sentence);
        const CollectedImport import = collect_import(path, selecting(one.selection));
        if (import.error) {
            EXPECT_EQ(import.error->failure(), Failure::usage);
            EXPECT_NE(std::string(import.error->what()).find(one.sentence), std::string::npos) << import.error->what();
            EXPECT_TRUE(one.last_row.empty());
            EXPECT_TRUE(import.catalogs.formats.empty());
            continue;
        }
        EXPECT_EQ(import.rows.empty() ? std::vector<std::string>{} : import.rows.back(), one.last_row);
        EXPECT_TRUE(import.log.contains(one.sentence)) << import.log.text();
        for (const auto &[name, format] : import.catalogs.formats) {
            EXPECT_TRUE(std::any_of(import.description.variables.begin(), import.description.variables.end(),
                                    [&](const vor::Variable &variable) { return variable.format.name == format.name; }))
                << name;
        }
    }
    EXPECT_EQ(collect_import(path, selecting({.drop = {"b"}})).catalogs.formats.size(), 1U);
}

// A file that ends within its data says where, also when the observations before are passed over.
TEST(ImportJob, RowsBehindTheEndOfACutFile) {
    StataFile file{.release = 115, .variables = {{.name = "x", .type = Type::int32}}};
    for (int row = 0; row < 10; ++row) {
        file.rows.push_back({row});
    }
    Offsets offsets;
    std::string bytes = build(file, &offsets);
    patch_number(bytes, offsets.at("N"), 0x7FFFFFFF, release_layout(115).observation_count_bytes, file.order);
    const ScratchDirectory scratch;
    for (const std::int64_t first : {std::int64_t{3}, std::int64_t{20000}, std::int64_t{0x7FFFFFFF}}) {
        const CollectedImport import = collect_import(scratch.write("cut.dta", bytes), selecting({.first_row = first}));
        ASSERT_TRUE(import.error);
        EXPECT_EQ(import.error->failure(), Failure::conversion);
        EXPECT_NE(std::string(import.error->what()).find("too short"), std::string::npos) << import.error->what();
    }
}

TEST(ImportJob, FilesWithoutVariablesOrObservations) {
    const ScratchDirectory scratch;
    for (const int release : all_releases()) {
        SCOPED_TRACE(release);
        StataFile nothing{.release = release};
        const CollectedImport empty = collect_import(scratch.write("empty.dta", build(nothing)));
        EXPECT_FALSE(empty.error) << empty.error->what();
        EXPECT_TRUE(empty.description.variables.empty());
        EXPECT_TRUE(empty.rows.empty());
        StataFile headings{.release = release, .variables = {{.name = "x"}}};
        const CollectedImport no_rows = collect_import(scratch.write("headings.dta", build(headings)));
        EXPECT_FALSE(no_rows.error) << no_rows.error->what();
        EXPECT_EQ(no_rows.description.variables.size(), 1U);
        EXPECT_TRUE(no_rows.rows.empty());
        // Observations, but nothing to hold them.
        Offsets offsets;
        std::string bytes = build(nothing, &offsets);
        const ReleaseLayout &layout = release_layout(release);
        patch_number(bytes, offsets.at("N"), 1000, layout.observation_count_bytes, nothing.order);
        EXPECT_TRUE(collect_import(scratch.write("hollow.dta", bytes)).rows.empty());
    }
}

TEST(ImportJob, MoreVariablesThanSixteenBitsCount) {
    constexpr std::size_t count = 40000;
    StataFile file{.release = 119};
    file.rows.resize(2);
    for (std::size_t i = 0; i < count; ++i) {
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte});
        file.rows[0].emplace_back(static_cast<int>(i % 100));
        file.rows[1].emplace_back(static_cast<int>(i % 7));
    }
    const ScratchDirectory scratch;
    const CollectedImport import = collect_import(scratch.write("wide.dta", build(file)));
    ASSERT_FALSE(import.error) << import.error->what();
    ASSERT_EQ(import.description.variables.size(), count);
    EXPECT_EQ(import.description.variables.back().name, "v39999");
    ASSERT_EQ(import.rows.size(), 2U);
    EXPECT_EQ(import.rows[0].back(), "99");
    EXPECT_EQ(import.rows[1].back(), std::to_string((count - 1) % 7));
}

TEST(ImportJob, TextThatIsNotInItsEncoding) {
    StataFile file{.release = 114, .variables = {{.name = "s", .type = str(8)}, {.name = "t", .type = str(8)}}};
    file.rows = {{"plain", "\xE4"}, {"caf\xE9", "caf\xC3\xA9"}, {"\x80", "ok"}};
    const ScratchDirectory scratch;
    const std::string path = scratch.write("old.dta", build(file));
    const CollectedImport as_found = collect_import(path);
    EXPECT_EQ(as_found.rows,
              (std::vector<std::vector<std::string>>{
                  {"'plain'", "'\xC3\xA4'"}, {"'caf\xC3\xA9'", "'caf\xC3\xA9'"}, {"'\xE2\x82\xAC'", "'ok'"}}));
    EXPECT_TRUE(as_found.log.contains("variable s")) << as_found.log.text();
    EXPECT_TRUE(as_found.log.contains("observation 2")) << as_found.log.text();
    EXPECT_TRUE(as_found.log.contains("2 values")) << as_found.log.text();
    const CollectedImport named = collect_import(path, {.value_labels = true, .encoding = "latin1", .formats = {}});
    EXPECT_EQ(named.rows[1], (std::vector<std::string>{"'caf\xC3\xA9'", "'caf\xC3\x83\xC2\xA9'"}));
}

// An import of bytes that never see the disk.
CollectedImport import_bytes(const std::string &name, std::string bytes) {
    Faults faults;
    MemoryFiles files(faults);
    files.put(name, std::move(bytes));
    HostOptions host;
    host.files = &files;
    CollectedImport import = collect_import(files.absolute(name), {}, host);
    EXPECT_EQ(files.open_files(), 0);
    return import;
}

// What hostile files have in common: the offer of a whole file with one thing wrong.
struct Damage {
    const char *what;
    int release;
    std::string (*bytes)(int release);
    const char *sentence; // part of it
};

std::string small_file(int release, Offsets *offsets = nullptr) {
    StataFile file{.release = release, .order = ByteOrder::little};
    file.variables = {{.name = "x", .type = Type::int16, .format = "%8.0g", .label = "ex", .value_label = "yn"},
                      {.name = "s", .type = str(9), .format = "%9s"}};
    file.rows = {{1, "one"}, {2, "two"}, {missing(), "three"}};
    file.value_labels = {{"yn", {{0, "no"}, {1, "yes"}}}};
    if (is_tagged(release)) {
        file.variables.push_back({.name = "l", .type = Type::strl, .format = "%9s"});
        for (Row &row : file.rows) {
            row.emplace_back("long text");
        }
    }
    return build(file, offsets);
}

// A file whose number at a named place is another one.
template <std::uint64_t value, std::size_t width>
std::string with_number(int release, const char *place, std::size_t before = 0) {
    Offsets offsets;
    std::string bytes = small_file(release, &offsets);
    patch_number(bytes, offsets.at(place) - before, value, width, ByteOrder::little);
    return bytes;
}

constexpr std::uint64_t huge32 = 0x7FFFFFFF;
constexpr std::uint64_t huge64 = 0x7FFFFFFFFFFFFFFF;
// One of each kind; the driver's own tests have the others.
const Damage damages[] = {
    {"an empty file", 0, [](int) { return ""s; }, ""},
    {"one byte", 0, [](int) { return "\x72"s; }, ""},
    {"text", 0, [](int) { return "Name,age\n"s + std::string(200, 'x'); }, "You had -> 78"},
    {"text that begins as a release", 0, [](int) { return "id,name\n"s + std::string(200, 'x'); }, "You had -> 44"},
    {"zeros", 0, [](int) { return std::string(5000, '\0'); }, "You had -> 0"},
    {"release 116", 116, [](int release) { return small_file(release); }, "116"},
    {"release 120", 120, [](int release) { return small_file(release); }, "120"},
    {"K too large", 103, [](int release) { return with_number<0x7FFF, 2>(release, "K"); }, ""},
    {"N too large", 118, [](int release) { return with_number<huge64, 8>(release, "N"); }, ""},
    {"N one too many", 118, [](int release) { return with_number<4, 8>(release, "N"); }, ""},
    {"a type that is none", 118, [](int release) { return with_number<40000, 2>(release, "variable_types"); }, "x"},
    {"a time stamp without end", 117, [](int release) { return with_number<0xFF, 1>(release, "timestamp", 1); }, ""},
    {"a strL longer than the file", 118, [](int release) { return with_number<huge32, 4>(release, "gso[1].length"); },
     ""},
    {"a label outside the texts", 118,
     [](int release) { return with_number<500, 4>(release, "value_labels[0].offsets"); }, "yn"},
    {"more labels than the file", 104, [](int release) { return with_number<0x7FFF, 2>(release, "value_labels[0].n"); },
     ""},
};

TEST(ImportJob, DamagedFilesAreRefusedInASentence) {
    for (const Damage &damage : damages) {
        SCOPED_TRACE(damage.what + " "s + std::to_string(damage.release));
        const CollectedImport import = import_bytes("damaged.dta", damage.bytes(damage.release));
        ASSERT_TRUE(import.error);
        const std::string sentence = import.error->what();
        EXPECT_EQ(import.error->failure(), Failure::conversion) << sentence;
        EXPECT_NE(sentence.find("damaged.dta"), std::string::npos) << sentence;
        EXPECT_NE(sentence.find(damage.sentence), std::string::npos) << sentence;
    }
}

// Whatever is left of a file: what comes out are its own first observations, and all of them or an error.
TEST(ImportJob, FilesCutAnywhere) {
    for (const int release : {104, 115, 117, 119}) {
        Offsets offsets;
        const std::string bytes = small_file(release, &offsets);
        const CollectedImport whole = import_bytes("whole.dta", bytes);
        ASSERT_EQ(whole.rows.size(), 3U);
        const std::size_t data_end = offsets.at("data") + 3 * (is_tagged(release) ? 19 : 11);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            SCOPED_TRACE(std::to_string(release) + " cut to " + std::to_string(length));
            const CollectedImport import = import_bytes("cut.dta", bytes.substr(0, length));
            ASSERT_TRUE(import.error || length >= data_end);
            ASSERT_TRUE(import.error || import.rows.size() == 3);
            ASSERT_LE(import.rows.size(), whole.rows.size());
            for (std::size_t row = 0; row < import.rows.size(); ++row) {
                ASSERT_EQ(import.rows[row], whole.rows[row]);
            }
        }
    }
}

TEST(ImportJob, MoreLabelledVariablesThanFormats) {
    const char *left_out = "those of variables after v4086 are left out";
    StataFile file{.release = 118, .value_labels = {{"yn", {{1, "yes"}}}}};
    for (int i = 1; i <= MOST_USER_FORMATS; ++i)
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte, .value_label = "yn"});
    const CollectedImport most = import_bytes("most.dta", build(file));
    EXPECT_FALSE(most.log.contains(left_out)) << most.log.text();
    EXPECT_EQ(most.catalogs.formats.size(), file.variables.size());

    file.variables.push_back({.name = "last", .type = Type::byte, .value_label = "yn"});
    const CollectedImport more = import_bytes("more.dta", build(file));
    EXPECT_TRUE(more.log.contains(left_out)) << more.log.text();
    EXPECT_EQ(more.catalogs.formats.size(), static_cast<std::size_t>(MOST_USER_FORMATS));
    ASSERT_EQ(more.description.variables.size(), file.variables.size());
    EXPECT_EQ(more.description.variables.back().format.name, "");
}

TEST(ImportJob, NamesThatCannotBeRead) {
    const ScratchDirectory scratch;
    std::filesystem::create_directory(scratch.path("folder.dta"));
    const struct {
        std::string name;
        Failure failure;
        const char *sentence;
    } cases[] = {
        {scratch.path("nothing.dta"), Failure::machine, "No such file"},
        {scratch.path("nothing"), Failure::machine, "nothing.dta"},
        {scratch.path("folder.dta"), Failure::machine, "directory"},
        {scratch.path("*.dta"), Failure::machine, ".dta"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const CollectedImport import = collect_import(one.name);
        ASSERT_TRUE(import.error);
        EXPECT_EQ(import.error->failure(), one.failure) << import.error->what();
        EXPECT_NE(std::string(import.error->what()).find(one.sentence), std::string::npos) << import.error->what();
    }
}

} // namespace
} // namespace vor::test
