// Whole files of every release and byte order through the loaded module; damaged ones, too.
#include "collected_import.h"
#include "stata_file_builder.h"
#include "whole_file.h"

#include <vor/formats.h>
#include <vor/stata_layout.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Texts = std::vector<std::string>;

constexpr int ordinary_rows = 1500; // more than one read of the module holds
constexpr int all_rows = 5 + ordinary_rows;

std::vector<Texts> expected_rows(int release) {
    const std::string first = has_extended_marks(release) ? ".a" : ".";
    const std::string last = has_extended_marks(release) ? ".z" : ".";
    std::vector<Texts> rows = {
        {"-127", "-32767", "-2147483647", "-0.5", "1e-300", "0", "'ab'"},
        {"1", "32740", "2147483620", value_text(static_cast<float>(1.5e38)), "1e+300", "14669", "'Z\xC3\xBCrich'"},
        {first, first, first, first, first, first, "''"},
        {last, last, last, last, last, last, "'  lead'"},
        {".", ".", ".", ".", ".", ".", "'a b'"}};
    for (int row = 0; row < ordinary_rows; ++row)
        rows.push_back({value_text(row % 100), value_text(row), value_text(row * 1000), value_text(row * 0.5),
                        value_text(row * 0.25), value_text(row), value_text(std::to_string(row))});
    if (is_tagged(release)) {
        for (std::size_t row = 0; row < rows.size(); ++row)
            rows[row].insert(rows[row].end(), {value_text(static_cast<double>(row)), "1", "'text'"});
        rows[0].back() = rows[3].back() = "''";
        rows[1].back() = rows[2].back() = "'two\xC3\xA9'";
    }
    return rows;
}

void expect_whole_file(const CollectedImport &import, const StataFile &file) {
    EXPECT_EQ(import.summary.release, file.release);
    EXPECT_EQ(import.summary.big_endian, file.order == ByteOrder::big);
    EXPECT_EQ(import.summary.data_label, "Whole");
    EXPECT_EQ(import.summary.observations, all_rows);
    EXPECT_EQ(import.log.contains("other characteristics are not kept: 2."), !file.characteristics.empty())
        << import.log.text();
    Texts formats;
    for (const vor::Variable &variable : import.description.variables)
        formats.push_back(format_text(variable.format));
    Texts expected = {"B.", "8.", "10.2", "E9.", "", has_date_formats(file.release) ? "MMDDYY10." : "", "$7."};
    if (is_tagged(file.release))
        expected.insert(expected.end(), {"DATETIME16.", "TIME.", "$5."});
    ASSERT_EQ(formats, expected);
    EXPECT_EQ(import.description.variables[0].label, "A byte");
    EXPECT_EQ(import.description.variables[1].label, "i") << "the name stands for a label that is not there";
    EXPECT_EQ(import.catalogs.formats.size(), 1U);
    EXPECT_TRUE(import.log.contains("tables that no variable uses are not kept: 1.")) << import.log.text();
    EXPECT_EQ(import.labels_of(import.description.variables[0]), (Texts{"0=no", "1=yes"}));
    EXPECT_EQ(import.rows, expected_rows(file.release));
}

ImportSession::Options selecting(Selection selection) {
    ImportSession::Options options = base_import;
    options.selection = std::move(selection);
    return options;
}

// Two variables from an observation on: the last rows, one buffer and several into the file, and behind its end.
void expect_parts(const std::string &path, const CollectedImport &whole) {
    const std::size_t last = whole.description.variables.size() - 1;
    const std::vector<std::string> names = {whole.description.variables[last].name, "i"};
    for (const std::int64_t first : {2, 1200, all_rows, all_rows + 1, all_rows + 1000}) {
        SCOPED_TRACE(first);
        const CollectedImport part = sound_import(path, selecting({.keep = names, .first_row = first}));
        std::vector<Texts> rows;
        for (auto row = static_cast<std::size_t>(first) - 1; row < whole.rows.size(); ++row)
            rows.push_back({whole.rows[row][1], whole.rows[row][last]});
        EXPECT_EQ(part.rows, rows);
        EXPECT_EQ(part.description.observations, static_cast<std::int64_t>(rows.size()));
        EXPECT_TRUE(part.log.contains("has " + std::to_string(rows.size()) + " observations")) << part.log.text();
        EXPECT_TRUE(part.catalogs.formats.empty()) << "the labels of a variable left out";
    }
}

TEST(ImportJob, EveryReleaseInEitherByteOrder) {
    const ScratchDirectory scratch;
    for_each_whole_file(ordinary_rows, [&](const StataFile &file) {
        const std::string path = scratch.write("whole.dta", build(file));
        const CollectedImport whole = sound_import(path);
        expect_whole_file(whole, file);
        expect_parts(path, whole);
    });
}

// An import of bytes that never see the disk.
CollectedImport import_bytes(const std::string &bytes, const ImportSession::Options &options = base_import) {
    Faults faults;
    MemoryFiles files(faults);
    files.put("f.dta", bytes);
    HostOptions host;
    host.files = &files;
    CollectedImport import = collect_import(files.absolute("f.dta"), options, host);
    EXPECT_EQ(files.open_files(), 0);
    return import;
}

// Replaces a part of a tagged file's header and moves the positions of its map with what follows.
std::string with_header(const StataFile &file, const std::string &part, const std::string &other) {
    Offsets offsets;
    std::string bytes = build(file, &offsets);
    const std::size_t place = bytes.find(part);
    EXPECT_LT(place, offsets.at("<map>")) << part;
    bytes.replace(place, part.size(), other);
    const std::size_t map = offsets.at("map") + other.size() - part.size();
    for (std::size_t entry = 1; entry < 14; ++entry) {
        std::uint64_t position = 0;
        std::memcpy(&position, bytes.data() + map + 8 * entry, sizeof position);
        if (file.order == ByteOrder::big)
            position = __builtin_bswap64(position);
        position += other.size() - part.size();
        if (file.order == ByteOrder::big)
            position = __builtin_bswap64(position);
        std::memcpy(bytes.data() + map + 8 * entry, &position, sizeof position);
    }
    return bytes;
}

// The host looks at the head before the driver reads the file: both must find the same in every form that the driver
// takes.
TEST(ImportJob, HeadsInEveryForm) {
    const StataFile file{.data_label = "of <N> or <n>: \xC3\xA9",
                         .timestamp = "23 Nov 2026 10:00",
                         .variables = {{.name = "x", .type = Type::byte}},
                         .rows = {{1}, {2}, {3}}};
    const struct {
        const char *form;
        std::string part, other;
    } cases[] = {
        {"as it is", "<header>", "<header>"},
        {"small letters", "<N>", "<n>"},
        {"capital letters", "<release>118</release>", "<RELEASE>118</RELEASE>"},
        {"blanks in a tag", "<K>", "<K \t>"},
        {"much in front of a tag", "<N>", std::string(5000, ' ') + "<N>"},
        {"as much as there may be", "<N>", std::string(65000, ' ') + "<N>"},
        {"another element", "<K>", "<Other>text</Other><K>"},
        {"byte order behind the counts", "</header>", "<byteorder>LSF</byteorder></header>"},
    };
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        for (const auto &[form, part, other] : cases) {
            SCOPED_TRACE(form);
            StataFile ordered = file;
            ordered.order = order;
            const bool late_order = other.starts_with("<byteorder>");
            const CollectedImport import =
                import_bytes(late_order && order == ByteOrder::big
                                 ? with_header(ordered, part, "<byteorder>MSF</byteorder></header>")
                                 : with_header(ordered, part, other));
            ASSERT_FALSE(import.error) << import.error->what();
            EXPECT_EQ(import.rows, (std::vector<Texts>{{"1"}, {"2"}, {"3"}}));
            EXPECT_EQ(import.summary.observations, 3);
            EXPECT_EQ(import.summary.release, 118);
            EXPECT_EQ(import.summary.big_endian, order == ByteOrder::big);
            EXPECT_EQ(import.summary.data_label, file.data_label);
            EXPECT_TRUE(import.log.contains("release 118; its text is read as UTF-8.")) << import.log.text();
        }
    }
}

// How far a head can be told from the bytes at hand.
TEST(ImportJob, HeadsThatAreCut) {
    for (const int release : {104, 114, 117, 119}) {
        SCOPED_TRACE(release);
        const std::string bytes = build({.release = release,
                                         .data_label = "Label",
                                         .variables = {{.name = "x", .type = Type::byte}},
                                         .rows = {{1}, {2}}});
        int64_t count = 1;
        file_head head = read_head(bytes.data(), count);
        for (; head.needed_bytes != 0; head = read_head(bytes.data(), count)) {
            ASSERT_GT(head.needed_bytes, count);
            ASSERT_LT(head.needed_bytes, 400) << "more than any head has";
            count = head.needed_bytes;
        }
        EXPECT_EQ(head.release, release);
        EXPECT_EQ(head.observations, 2);
        EXPECT_EQ(std::string(head.label, 5), "Label");
    }
    EXPECT_EQ(read_head("", 0).release, 0);
    for (const char *second : {"999", "119"}) { // behind the count, which keeps the width it was read with
        std::string bytes = build({.release = 117, .variables = {{.name = "x"}}, .rows = {{1}, {2}}});
        bytes = bytes.substr(0, bytes.find("<label>")) + "<release>" + second;
        EXPECT_EQ(read_head(bytes.data(), static_cast<int64_t>(bytes.size())).observations, 2);
    }
}

void expect_refusal(const CollectedImport &import, Failure failure, const std::string &part) {
    ASSERT_TRUE(import.error) << "a file was taken for sound";
    const std::string sentence = import.error->what();
    EXPECT_EQ(import.error->failure(), failure) << sentence;
    EXPECT_NE(sentence.find(part), std::string::npos) << sentence;
}

TEST(ImportJob, SelectedVariables) {
    StataFile file{.release = 114,
                   .variables = {{.name = "a", .type = Type::byte, .value_label = "t"},
                                 {.name = "S", .type = str(2)},
                                 {.name = "b", .type = Type::byte, .value_label = "u"}}};
    file.rows = {{1, "x", 3}, {2, "\xE4", 4}};
    file.value_labels = {{"t", {{1, "one"}}}, {"u", {{3, "three"}}}};
    const std::string bytes = build(file);
    const struct {
        Selection selection;
        std::vector<Texts> rows;
        const char *note;
        Texts formats;
    } cases[] = {
        {{.keep = {"b", "a"}}, {{"1", "3"}, {"2", "4"}}, "2 of 3 variables kept.", {"A", "B"}},
        {{.keep = {"S"}, .first_row = 2}, {{"'\xC3\xA4'"}}, "first in observation 2", {}},
        {{.drop = {"S", "b"}}, {{"1"}, {"2"}}, "1 of 3 variables kept.", {"A"}},
        {{.keep = {"a", "b"}, .drop = {"b"}}, {{"1"}, {"2"}}, "1 of 3", {"A"}},
        {{.drop = {"a"}, .first_row = 3}, {}, "", {"B"}},
    };
    for (const auto &one : cases) {
        const CollectedImport import = import_bytes(bytes, selecting(one.selection));
        EXPECT_EQ(import.rows, one.rows);
        EXPECT_TRUE(import.log.contains(one.note)) << import.log.text();
        Texts formats;
        for (const auto &[name, format] : import.catalogs.formats)
            formats.push_back(name);
        EXPECT_EQ(formats, one.formats);
    }
    const auto expect_usage = [&](const Selection &selection, const char *sentence) {
        const CollectedImport import = import_bytes(bytes, selecting(selection));
        expect_refusal(import, Failure::usage, sentence);
        EXPECT_TRUE(import.catalogs.formats.empty());
    };
    expect_usage({.keep = {"a", "c"}}, "f.dta has no variable c; it has a, S, b.");
    expect_usage({.drop = {"s"}}, "has no variable s. Did you mean S?");
    expect_usage({.drop = {"a", "S", "b"}}, "No variable of");
}

// A file that ends within its data says where, also when the observations before are passed over.
TEST(ImportJob, RowsBehindTheEndOfACutFile) {
    StataFile file{.release = 115, .variables = {{.name = "x", .type = Type::int32}}};
    for (int row = 0; row < 10; ++row)
        file.rows.push_back({row});
    Offsets offsets;
    std::string bytes = build(file, &offsets);
    patch_number(bytes, offsets.at("N"), 0x7FFFFFFF, 4, file.order);
    for (const std::int64_t first : {3, 20000, 0x7FFFFFFF})
        expect_refusal(import_bytes(bytes, selecting({.first_row = first})), Failure::conversion, "too short");
}

TEST(ImportJob, FilesWithoutVariablesOrObservations) {
    for (const int release : all_releases()) {
        SCOPED_TRACE(release);
        const StataFile nothing{.release = release};
        Offsets offsets;
        std::string bytes = build(nothing, &offsets);
        const CollectedImport empty = import_bytes(bytes);
        EXPECT_FALSE(empty.error);
        EXPECT_TRUE(empty.description.variables.empty());
        EXPECT_TRUE(empty.rows.empty());
        const CollectedImport headings = import_bytes(build({.release = release, .variables = {{.name = "x"}}}));
        EXPECT_FALSE(headings.error);
        EXPECT_EQ(headings.description.variables.size(), 1U);
        EXPECT_TRUE(headings.rows.empty());
        // Observations, but nothing to hold them.
        patch_number(bytes, offsets.at("N"), 1000, release < 118 ? 4 : 8, nothing.order);
        const CollectedImport unheld = import_bytes(bytes);
        EXPECT_TRUE(unheld.rows.empty());
        EXPECT_TRUE(unheld.log.contains("none of the 1000 is delivered")) << unheld.log.text();
    }
}

// The module transcodes names and labels of variables, but not these.
TEST(ImportJob, DataLabelAndValueLabelsInAnySession) {
    StataFile file{.release = 118,
                   .data_label = "Gr\xC3\xB6\xC3\x9F"
                                 "en"};
    file.variables = {{.name = "x", .value_label = "names"}};
    file.value_labels = {{"names", {{1, "Zo\xC3\xAB"}}}};
    for (const char *session_encoding : {"utf-8", "latin1"}) {
        HostOptions host;
        host.session_encoding = session_encoding;
        const ScratchDirectory scratch;
        const CollectedImport import = sound_import(scratch.write("f.dta", build(file)), base_import, host);
        EXPECT_EQ(import.labels_of(import.description.variables[0]), (Texts{"1=Zo\xC3\xAB"})) << session_encoding;
        EXPECT_EQ(import.summary.data_label, file.data_label) << session_encoding;
    }
}

TEST(ImportJob, CharactersThatTheSessionLacksAreCounted) {
    const StataFile file{
        .release = 118, .variables = {{.name = "s", .type = str(4)}}, .rows = {{"a"}, {"b\xC3\xA9"}, {"\xC3\xA9"}}};
    HostOptions host;
    host.session_encoding = "us-ascii";
    const ScratchDirectory scratch;
    CapturedLog log;
    host.log = &log;
    {
        ImportSession session(host, base_import, scratch.write("f.dta", build(file)));
        for (Batch batch; session.next(batch, 2);) {
        }
        session.close();
    }
    EXPECT_TRUE(log.contains("The text of s at obs 2 could not be read whole")) << log.text();
    EXPECT_TRUE(log.contains("2 texts of s could not be read whole.")) << log.text();
}

TEST(ImportJob, TextsOfNoBytes) {
    StataFile file{.release = 114, .variables = {{.name = "s", .type = str(0)}, {.name = "x", .type = Type::byte}}};
    file.rows = {{"", 7}, {"", 8}};
    const CollectedImport import = import_bytes(build(file));
    ASSERT_FALSE(import.error);
    EXPECT_EQ(import.description.variables[0].length, 1);
    EXPECT_EQ(import.rows, (std::vector<Texts>{{"''", "7"}, {"''", "8"}}));
}

TEST(ImportJob, MoreVariablesThanSixteenBitsCount) {
    constexpr std::size_t count = 40000;
    StataFile file{.release = 119, .rows = {{}, {}}};
    for (std::size_t i = 0; i < count; ++i) {
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte});
        file.rows[0].emplace_back(i % 100);
        file.rows[1].emplace_back(i % 7);
    }
    const CollectedImport import = import_bytes(build(file));
    ASSERT_EQ(import.description.variables.size(), count);
    EXPECT_EQ(import.description.variables.back().name, "v39999");
    ASSERT_EQ(import.rows.size(), 2U);
    EXPECT_EQ(import.rows[0].back(), "99");
    EXPECT_EQ(import.rows[1].back(), std::to_string((count - 1) % 7));
}

TEST(ImportJob, TextThatIsNotInItsEncoding) {
    StataFile file{.release = 114, .variables = {{.name = "s", .type = str(8)}, {.name = "t", .type = str(8)}}};
    file.rows = {{"plain", "\xE4"}, {"caf\xE9", "caf\xC3\xA9"}, {"\x80", "ok"}};
    const CollectedImport as_found = import_bytes(build(file));
    EXPECT_EQ(as_found.rows, (std::vector<Texts>{{"'plain'", "'ä'"}, {"'café'", "'café'"}, {"'€'", "'ok'"}}));
    for (const char *part : {"variable s", "observation 2", "2 values"})
        EXPECT_TRUE(as_found.log.contains(part)) << as_found.log.text();
    const CollectedImport named = import_bytes(build(file), {.encoding = "latin1", .contract = Contract::base});
    EXPECT_EQ(named.rows.at(1), (Texts{"'café'", "'cafÃ©'"}));
}

// Of an encoding with longer characters than the session gives room for, what fits is kept.
TEST(ImportJob, TextThatGrows) {
    StataFile file{.variables = {{.name = "s", .type = str(4)}, {.name = "l", .type = str(2000)}}};
    file.rows = {{"\xE4z", std::string(1000, '\xE4')}, {"\xE4\xE4\xE4\xE4", "short"}};
    const ScratchDirectory scratch;
    const CollectedImport import =
        collect_import(scratch.write("f.dta", build(file)), base_import, {.file_encoding = "latin1"});
    std::string grown;
    for (int i = 0; i < 1000; ++i)
        grown += "\xC3\xA4";
    EXPECT_EQ(import.rows.at(0), (Texts{"'äz'", value_text(grown)}));
    EXPECT_EQ(import.rows.at(1), (Texts{"'ää'", "'short'"}));
    EXPECT_TRUE(import.log.contains("The text of s at obs 2 could not be read whole")) << import.log.text();
}

// The way through minutes costs dates and times no bits, and no more than that is made whole.
TEST(ImportJob, DatesAndTimesComeThroughExactly) {
    StataFile file{.variables = {{.name = "day", .format = "%td"},
                                 {.name = "at", .format = "%tc"},
                                 {.name = "time", .format = "%tcHH:MM:SS"}}};
    const struct {
        double day, at, time; // days and milliseconds
        Texts row;            // days and seconds
    } cases[] = {
        {0.75, 1500, 500, {"0.75", "1.5", "0.5"}},
        {1.0000009, 60000.6, 999.9999, {"1", "60", "1"}},
        {-1, -1000, 86399000, {"-1", "-1", "86399"}},
        {14669, 1267446896000, 45296000, {"14669", "1267446896", "45296"}},
        {-21914, 1, 1, {"-21914", "0", "0.001"}},
    };
    std::vector<Texts> expected;
    for (const auto &one : cases) {
        file.rows.push_back({one.day, one.at, one.time});
        expected.push_back(one.row);
    }
    file.rows.push_back({missing('b'), missing('z'), missing()});
    expected.push_back({".b", ".z", "."});
    EXPECT_EQ(import_bytes(build(file)).rows, expected);
}

std::string small_file(int release, Offsets *offsets = nullptr) {
    StataFile file{.release = release, .order = ByteOrder::little};
    file.variables = {{.name = "x", .type = Type::int16, .format = "%8.0g", .label = "ex", .value_label = "yn"},
                      {.name = "s", .type = str(9), .format = "%9s"}};
    file.rows = {{1, "one"}, {2, "two"}, {missing(), "three"}};
    file.value_labels = {{"yn", {{0, "no"}, {1, "yes"}}}};
    if (is_tagged(release)) {
        file.variables.push_back({.name = "l", .type = Type::strl, .format = "%9s"});
        for (Row &row : file.rows)
            row.emplace_back("long text");
    }
    return build(file, offsets);
}

// One of each kind; the driver's own tests have the others.
TEST(ImportJob, DamagedFilesAreRefusedInASentence) {
    const std::string letters(200, 'x');
    const std::pair<std::string, const char *> files[] = {
        {"", "f.dta"},
        {"\x72", "f.dta"},
        {"Name,age\n" + letters, "is text, such as CSV"},
        {"id,name\n" + letters, "is text, such as CSV"}, // begins as a release does
        {"Name,\x01" + letters, "You had -> 78"},
        {std::string(5000, '\0'), "You had -> 0"},
        {small_file(116), "116"},
        {small_file(120), "120"},
    };
    for (const auto &[bytes, part] : files)
        expect_refusal(import_bytes(bytes), Failure::conversion, part);

    const struct {
        int release;
        const char *place;
        std::uint64_t value;
        std::size_t width;
        const char *part;
        std::size_t before = 0;
    } numbers[] = {
        {103, "K", 0x7FFF, 2, "f.dta"},
        {118, "N", 0x7FFFFFFFFFFFFFFF, 8, "f.dta"},
        {118, "N", 4, 8, "f.dta"}, // one too many
        {118, "variable_types", 40000, 2, "x"},
        {117, "timestamp", 0xFF, 1, "f.dta", 1}, // its length stands before it
        {118, "gso[1].length", 0x7FFFFFFF, 4, "f.dta"},
        {118, "value_labels[0].offsets", 500, 4, nullptr}, // costs the labels only
        {104, "value_labels[0].n", 0x7FFF, 2, nullptr},
    };
    for (const auto &one : numbers) {
        SCOPED_TRACE(one.place);
        Offsets offsets;
        std::string bytes = small_file(one.release, &offsets);
        patch_number(bytes, offsets.at(one.place) - one.before, one.value, one.width, ByteOrder::little);
        const CollectedImport import = import_bytes(bytes);
        if (one.part != nullptr) {
            expect_refusal(import, Failure::conversion, one.part);
            continue;
        }
        EXPECT_FALSE(import.error);
        EXPECT_EQ(import.rows.size(), 3U);
        EXPECT_TRUE(import.log.contains("has no value labels.")) << import.log.text();
    }
}

// Whatever is left of a file: what comes out are its own first observations, and all of them or an error.
TEST(ImportJob, FilesCutAnywhere) {
    for (const int release : {104, 115, 117, 119}) {
        Offsets offsets;
        const std::string bytes = small_file(release, &offsets);
        const CollectedImport whole = import_bytes(bytes);
        ASSERT_EQ(whole.rows.size(), 3U);
        const std::size_t data_end = offsets.at("data") + 3 * (is_tagged(release) ? 19 : 11);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            SCOPED_TRACE(std::to_string(release) + " cut to " + std::to_string(length));
            const CollectedImport import = import_bytes(bytes.substr(0, length));
            ASSERT_TRUE(import.error || (length >= data_end && import.rows.size() == 3));
            ASSERT_LE(import.rows.size(), 3U);
            ASSERT_TRUE(std::equal(import.rows.begin(), import.rows.end(), whole.rows.begin()));
        }
    }
}

TEST(ImportJob, MoreLabelledVariablesThanFormats) {
    StataFile file{.release = 118, .value_labels = {{"yn", {{1, "yes"}}}}};
    for (const char *format : {"fixed", "YMD", "Mdyhm", "e", "comma", "dollar", "datehm", "dmy", "nldate", "date",
                               "mdy", "mmmyy", "monyy", "mmyy"}) // what the module knows, too
        file.variables.push_back({.name = format, .type = Type::byte, .value_label = "yn"});
    for (const bool too_many : {false, true}) {
        while (file.variables.size() < MOST_USER_FORMATS + std::size_t{too_many})
            file.variables.push_back(
                {.name = "v" + std::to_string(file.variables.size() + 1), .type = Type::byte, .value_label = "yn"});
        const CollectedImport import = import_bytes(build(file));
        ASSERT_EQ(import.description.variables.size(), file.variables.size());
        EXPECT_EQ(import.catalogs.formats.size(), static_cast<std::size_t>(MOST_USER_FORMATS));
        EXPECT_EQ(import.log.contains("those of variables after v4086 are left out"), too_many) << import.log.text();
        EXPECT_EQ(import.description.variables.back().format.name.empty(), too_many);
        for (size_t i = 0; i < 20; ++i) {
            const vor::Variable &variable = import.description.variables[i];
            EXPECT_EQ(import.labels_of(variable), (std::vector<std::string>{"1=yes"})) << variable.name;
            EXPECT_EQ(temporal_class(variable), Temporal::none) << variable.name;
        }
    }
}

TEST(ImportJob, TheHostsStatementsCountUnlessTheJobNamesAPlace) {
    const test::ScratchDirectory scratch;
    const StataFile file{.release = 118,
                         .variables = {{.name = "v", .type = Type::byte, .value_label = "yn"}},
                         .value_labels = {{"yn", {{1, "yes"}}}}};
    const std::string path = scratch.write("f.dta", build(file));
    const HostOptions host{.statements = "FMTLIB=HOST.OWN;"};
    EXPECT_EQ(sound_import(path, base_import, host).catalogs.last_place, "HOST.OWN");
    ImportSession::Options named = base_import;
    named.formats = {"JOB", "GIVEN"};
    EXPECT_EQ(sound_import(path, named, host).catalogs.last_place, "JOB.GIVEN");
}

} // namespace
} // namespace vor::test
