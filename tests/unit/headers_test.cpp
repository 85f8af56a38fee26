// The headers of both families of releases, and the reading of single elements.
#include "driver_file.h"
#include "imstata_header.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

StataFile small_file() {
    StataFile file{.release = 115, .data_label = "label"};
    file.variables = {{.name = "a", .type = Type::byte}};
    file.rows = {{1}};
    return file;
}

TEST(BinaryHeader, OtherReleasesAndShortFilesAreRefused) {
    const std::string whole = build(small_file());
    for (const int release : {102, 106, 107, 109, 116, 118}) {
        DriverFile opened(static_cast<char>(release) + whole.substr(1));
        headerrec header{};
        EXPECT_EQ(parse_binary_header(&opened.in, &header), ERROR_INPUT_INVALID);
        EXPECT_EQ(opened.message(),
                  "For Stata, Release flags of 103 to 115 are supported.  You had -> " + std::to_string(release));
    }
    for (const auto &[size, missing_part] : {std::pair{0U, "10 bytes of the header at byte 0, found 0."},
                                             {9U, "10 bytes of the header at byte 0, found 9."},
                                             {90U, "81 bytes of the data label at byte 10, found 80."},
                                             {108U, "18 bytes of the time stamp at byte 91, found 17."}}) {
        DriverFile opened(whole.substr(0, size));
        headerrec header{};
        EXPECT_EQ(parse_binary_header(&opened.in, &header), ERROR_READ);
        EXPECT_EQ(opened.message(), std::string("%1zThe Stata file is too short: expected ") + missing_part);
    }
}

TEST(BinaryHeader, DamagedExpansionFields) {
    StataFile file = small_file();
    file.characteristics = {{"_dta", "note1", "abc"}};
    Offsets offsets;
    const std::string whole = build(file, &offsets);
    const std::size_t field = offsets.at("characteristics");
    const struct {
        const char *what;
        std::uint64_t length;
        std::size_t size; // the file is cut there
        std::int32_t status;
        const char *message; // a part of it
    } rows[] = {
        {"longer than the file", 0xFFFFFFFF, whole.size(), ERROR_INPUT_INVALID, "has a length of 4294967295 bytes"},
        {"to the last byte", whole.size() - field - 5, whole.size(), ERROR_READ,
         "expected 5 bytes of an expansion field"},
        {"a byte longer", whole.size() - field - 4, whole.size(), ERROR_INPUT_INVALID, "the file holds"},
        {"cut inside a head", 3, field + 4, ERROR_READ, "found 4."},
        {"cut between fields", 3, field + 8, ERROR_READ, "found 0."},
    };
    for (const auto &row : rows) {
        std::string bytes = whole;
        patch_number(bytes, field + 1, row.length, 4, ByteOrder::little);
        DriverFile opened(bytes.substr(0, row.size));
        dsnrecord state{}; // what the routines before this one leave
        state.layout = find_release(115);
        state.byte_order = LEAST_SIGNIFICANT_FIRST;
        state.file_size = std::ssize(opened.bytes);
        opened.in.indsn = &state;
        opened.file.move(field);
        EXPECT_EQ(skip_binary_expansion_records(&opened.in), row.status) << row.what;
        EXPECT_TRUE(opened.says(row.message)) << row.what << ": " << opened.message();
    }
}

} // namespace
} // namespace vor::test

namespace vor::test {
namespace {

using namespace std::string_literals;

// A file positioned behind its opening tags.
struct OpenedHeader : DriverFile {
    explicit OpenedHeader(const std::string &elements) : DriverFile(TAGGED_OPENING + elements) {
        file.move(static_cast<std::size_t>(TAGGED_OPENING_BYTES));
    }
};

const std::string COUNTS_118 = "<K>\2\0</K><N>\3\0\0\0\0\0\0\0</N>"s;

TEST(TaggedHeader, WhatIsRefused) {
    const std::string start = "<release>118</release>";
    const struct {
        std::string elements;
        std::int32_t status;
        const char *message; // a part of it
    } rows[] = {
        {"<release>120</release>", ERROR_INPUT_INVALID, "is of release 120"},
        {"<release>11", ERROR_READ, "expected 3 bytes of the release at byte 28, found 2"},
        {"<K>\2\0</K>"s, ERROR_INPUT_INVALID, "has <K> before byte 22, where <release> is expected first"},
        {"</header>", ERROR_INPUT_INVALID, "without the element <release>"},
        {start + "<N>\3\0\0\0\0\0\0\0</N></header>"s, ERROR_INPUT_INVALID, "without the element <K>"},
        {start + "<label>\x41\1"s + std::string(321, 'x'), ERROR_INPUT_INVALID,
         "has a length of 321 bytes; at most 320"},
        {start + "<label>\x10\0abc"s, ERROR_READ, "expected 16 bytes of the data label at byte 50, found 3"},
        {start + "<>", ERROR_READ, "has no name"},
        {start + "<" + std::string(33, 'x') + ">", ERROR_INPUT_INVALID, "is longer than 32 bytes"},
        {start + COUNTS_118, ERROR_READ, "expected 1 bytes of the header"},
        {start + std::string(70000, 'x') + "</header>", ERROR_INPUT_INVALID,
         "</header> was not found in the first 65536"},
    };
    for (const auto &row : rows) {
        OpenedHeader opened(row.elements);
        headerrec header{};
        EXPECT_EQ(parse_xml_header(&opened.in, &header), row.status) << row.message;
        EXPECT_TRUE(opened.says(row.message)) << row.message << " in " << opened.message();
    }
}

// A file that begins with an element, and the state an element needs.
struct OpenedElement : DriverFile {
    explicit OpenedElement(const std::string &contents, std::int32_t order = LEAST_SIGNIFICANT_FIRST)
        : DriverFile(contents) {
        state.layout = find_release(118);
        state.byte_order = order;
        state.file_size = static_cast<std::int64_t>(contents.size());
        in.indsn = &state;
    }
    dsnrecord state{};
};

TEST(TaggedElement, Forms) {
    const struct {
        std::string contents;
        std::int64_t length;
        std::int32_t status;
        std::size_t position; // afterwards
        const char *message;  // a part of it
    } rows[] = {
        {"<map>abc</map>.", 3, 0, 14, ""},
        {"<map>.", ITEM_OPENS, 0, 5, ""},
        {"</map>.", ITEM_CLOSES, 0, 6, ""},
        {"<map>\2\0\0\0ab</map>."s, ITEM_SKIPPED, 0, 17, ""},
        {"<Map>abc</map>", 3, ERROR_INPUT_INVALID, 0, "Didn't see the |map| element.  Got -> |<Map>| at byte 0"},
        {"<mapp>abc</mapp>", 3, ERROR_INPUT_INVALID, 0, "Didn't see the |map| element.  Got -> |<mapp| at byte 0"},
        {"<map>abc<\1map>"s, 3, ERROR_INPUT_INVALID, 14,
         "Didn't see end for |map| element.  Got -> |<?map>| at byte 8"},
        {"<ma", 3, ERROR_READ, 3, "expected 5 bytes of map at byte 0, found 3."},
        {"<map>\7\0\0\0ab</map>"s, ITEM_SKIPPED, ERROR_READ, 16, "expected 6 bytes of map at byte 16, found 1."},
        {"<map>\xff\xff\xff\xff"s, ITEM_SKIPPED, ERROR_INPUT_INVALID, 9,
         "The element <map> at byte 9 has a length of 4294967295 bytes; the file holds 0 more."},
    };
    for (const auto &row : rows) {
        OpenedElement opened(row.contents);
        std::string storage(3, '\0');
        EXPECT_EQ(parse_xml_item(&opened.in, "map", row.length, storage.data()), row.status) << row.contents;
        EXPECT_TRUE(opened.says(row.message)) << opened.message();
        if (row.status != ERROR_READ) {
            EXPECT_EQ(opened.file.at(), row.position) << row.contents;
        }
        if (row.status == 0 && row.length > 0) {
            EXPECT_EQ(storage, "abc");
        }
    }
}

TEST(TaggedElement, Characteristics) {
    const std::string open = "<characteristics>";
    const std::string close = "</characteristics>";
    const struct {
        std::string contents;
        std::int32_t status;
        const char *message; // a part of it
    } rows[] = {
        {open + "<ch>\0\0\0\2ab</ch><ch>\0\0\0\0</ch>"s + close, 0,
         "Didn't see the |ch| element.  Got -> |</ch| at byte 45"},
        {open + "<ch>\0\0\0\2abc</ch>"s + close, ERROR_INPUT_INVALID,
         "Didn't see end for |ch| element.  Got -> |c</ch| at byte 27"},
        {open + "<ch>\0\1\0\0ab</ch>"s + close, ERROR_INPUT_INVALID, "has a length of 65536 bytes"},
        {open + "<ch>\0\0\0\2ab</ch>"s, ERROR_READ, "expected 4 bytes of ch at byte 32, found 0"},
    };
    for (const auto &row : rows) {
        OpenedElement opened(row.contents, MOST_SIGNIFICANT_FIRST);
        EXPECT_EQ(skip_xml_expansion_records(&opened.in), row.status) << row.contents;
        EXPECT_TRUE(opened.says(row.message)) << row.message << " in " << opened.message();
        if (row.status == 0) {
            EXPECT_EQ(opened.file.at(), row.contents.size()) << row.contents;
        }
    }
}

} // namespace
} // namespace vor::test
