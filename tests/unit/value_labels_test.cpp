// Value-label tables in every layout: found by name, delivered in order, refused when they do not fit.
#include "driver_file.h"
#include "imstata_value_labels.h"

#include <cstring>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

using namespace std::string_literals;
using List = std::vector<std::pair<double, std::string>>;

List entries_of(const innamevaluestruct *head) {
    List entries;
    for (; head != nullptr; head = head->nextvalue) {
        EXPECT_EQ(head->valuetype, 1);
        EXPECT_EQ(head->endvalue, nullptr);
        double value = 0;
        std::memcpy(&value, head->startvalue, sizeof value);
        entries.emplace_back(value, head->displayvalue);
    }
    return entries;
}

// A labelled variable for each name.
StataFile labelled(int release, ByteOrder order, const std::vector<std::string> &tables) {
    StataFile file{.release = release, .order = order};
    for (const std::string &table : tables)
        file.variables.push_back(
            {.name = "v" + std::to_string(file.variables.size()), .type = Type::byte, .value_label = table});
    file.rows = {Row(tables.size(), Cell(1)), Row(tables.size(), Cell(2))};
    return file;
}

TEST(ValueLabels, FoundByNameInEveryRelease) {
    for (const int release : {104, 105, 108, 110, 113, 115, 117, 118, 119}) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            StataFile file = labelled(release, order, {"abc", "none", "ABC", "", " abc", "first", "empty", "abc"});
            file.variables.push_back({.name = "text", .type = str(3), .format = "%3s", .value_label = "abc"});
            for (Row &row : file.rows)
                row.push_back("x");
            file.value_labels = {{"first", {{-2, "minus two"s.substr(0, 8)}, {300, "x"}}},
                                 {"empty", {}},
                                 {"Abc", {{1, "a"}, {2, "bb"}, {3, "exactly8"}, {1, "again"}}},
                                 {"abc", {{9, "second of the name"s.substr(0, 8)}}}};
            DriverFile opened(build(file));
            opened.self->outmode = OUTMODE_IMPORT | OUTMODE_WRITE_LABELS;
            ASSERT_EQ(opened.set_up(), 0) << release << opened.message();
            const List abc = {{1, "a"}, {2, "bb"}, {3, "exactly8"}, {1, "again"}};
            const List first = {{-2, "minus tw"}, {300, "x"}};
            const List expected[] = {abc, {}, abc, {}, {}, first, {}, abc, {}};
            for (std::size_t i = 0; i < std::size(expected); ++i)
                EXPECT_EQ(entries_of(opened.variable(i).innamevalues), expected[i]) << release << ' ' << i;
            EXPECT_NE(opened.variable(0).innamevalues, opened.variable(7).innamevalues) << "each has its own list";
        }
    }
}

TEST(ValueLabels, TaggedFilesHaveThemOnRequest) {
    StataFile file = labelled(118, ByteOrder::little, {"yn"});
    file.value_labels = {{"yn", {{1, "yes"}}}};
    for (const std::int64_t outmode : {OUTMODE_IMPORT, OUTMODE_IMPORT | OUTMODE_WRITE_LABELS}) {
        DriverFile opened(build(file));
        opened.self->outmode = outmode;
        ASSERT_EQ(opened.set_up(), 0);
        EXPECT_EQ(opened.variable(0).innamevalues != nullptr, outmode != OUTMODE_IMPORT);
    }
}

struct Damage {
    const char *what;
    int release;
    const char *place;
    std::uint64_t value;
    std::size_t width;
    std::int32_t status;
    const char *message; // a part of it
};

TEST(ValueLabels, DamagedTables) {
    const Damage rows[] = {
        {"more entries than bytes", 115, "value_labels[1].n", 4, 4, ERROR_INPUT_INVALID,
         "number of entries, 4 where at most 3 fits"},
        {"a huge count", 115, "value_labels[1].n", 0x7FFFFFFF, 4, ERROR_INPUT_INVALID,
         "2147483647 where at most 3 fits"},
        {"a negative count", 115, "value_labels[1].n", 0xFFFFFFFF, 4, 0, ""},
        {"texts longer than the table", 115, "value_labels[1].text_bytes", 21, 4, ERROR_INPUT_INVALID,
         "bytes of its texts"},
        {"a huge text length", 118, "value_labels[1].text_bytes", 0xFFFFFFFF, 4, ERROR_INPUT_INVALID, "4294967295"},
        {"an offset behind the texts", 113, "value_labels[1].offsets", 12, 4, ERROR_INPUT_INVALID,
         "12 where at most 11 fits"},
        {"a negative offset", 119, "value_labels[1].offsets", 0xFFFFFFFF, 4, ERROR_INPUT_INVALID, "offset of a text"},
        {"no room for the counts", 115, "value_labels[1].length", 7, 4, ERROR_INPUT_INVALID, "bytes of its counts"},
        {"a length past the file", 115, "value_labels[1].length", 0x7FFFFFFF, 4, ERROR_INPUT_INVALID,
         "The value-label table bad at byte"},
        {"a tagged length past the file", 118, "value_labels[1].length", 0xFFFFFFFF, 4, ERROR_INPUT_INVALID,
         "has a length of 4294967295 bytes; the file holds"},
        {"the length of a table in front", 115, "value_labels[0].length", 0x7FFFFFFF, 4, ERROR_INPUT_INVALID,
         "The value-label table good at byte"},
        {"more short entries than the file", 105, "value_labels[1].n", 0x7FFF, 2, ERROR_INPUT_INVALID,
         "The value-label table bad at byte"},
        {"a negative short count", 105, "value_labels[1].n", 0x8000, 2, 0, ""},
        {"a negative short count in front", 105, "value_labels[0].n", 0xFFFF, 2, ERROR_INPUT_INVALID,
         "The value-label table good at byte"},
    };
    for (const Damage &row : rows) {
        StataFile file = labelled(row.release, ByteOrder::big, {"bad"});
        file.value_labels = {{"good", {{1, "one"}}}, {"bad", {{1, "12345"}, {2, "67890"}}}, {"last", {{3, "abcdefg"}}}};
        Offsets places;
        std::string bytes = build(file, &places);
        patch_number(bytes, places.at(row.place), row.value, row.width, ByteOrder::big);
        DriverFile opened(bytes);
        opened.self->outmode = OUTMODE_WRITE_LABELS;
        EXPECT_EQ(opened.set_up(), row.status) << row.what;
        EXPECT_NE(opened.message().find(row.message), std::string::npos) << row.what << ": " << opened.message();
        if (row.status == 0) {
            EXPECT_EQ(opened.variable(0).innamevalues, nullptr) << row.what;
        }
    }
}

// What stands behind a damaged table is unknown; what stands in front of it is not.
TEST(ValueLabels, DamageBehindTheWantedTable) {
    StataFile file = labelled(115, ByteOrder::little, {"good"});
    file.value_labels = {{"good", {{1, "one"}}}, {"bad", {{1, "x"}}}};
    Offsets places;
    std::string bytes = build(file, &places);
    patch_number(bytes, places.at("value_labels[1].length"), 0x7FFFFFFF, 4, ByteOrder::little);
    DriverFile opened(bytes);
    ASSERT_EQ(opened.set_up(), 0) << opened.message();
    EXPECT_EQ(entries_of(opened.variable(0).innamevalues), (List{{1, "one"}}));
    innamevaluestruct *list = nullptr;
    EXPECT_EQ(load_stata_valuelist_v6(&opened.in, opened.file.handle, &list, "missing", 33), ERROR_INPUT_INVALID);
    EXPECT_EQ(load_stata_valuelist_v6(&opened.in, opened.file.handle, &list, "GOOD  ", 33), 0);
    EXPECT_EQ(entries_of(list), (List{{1, "one"}}));
}

// A last text without its zero byte ends with the area; bytes too few for a table behind the last one are no damage.
TEST(ValueLabels, EndsOfTheArea) {
    StataFile file = labelled(115, ByteOrder::little, {"yn", "none"});
    file.value_labels = {{"yn", {{1, "yes"}, {2, "no"}}}};
    Offsets places;
    std::string bytes = build(file, &places);
    bytes.back() = '!';
    for (const std::size_t behind : {0U, 3U}) {
        DriverFile opened(bytes + std::string(behind, 'x'));
        ASSERT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_EQ(entries_of(opened.variable(0).innamevalues), (List{{1, "yes"}, {2, "no!"}}));
    }
    patch_number(bytes, places.at("value_labels[0].text_bytes"), 5, 4, ByteOrder::little);
    DriverFile short_area(bytes);
    ASSERT_EQ(short_area.set_up(), 0) << short_area.message();
    EXPECT_EQ(entries_of(short_area.variable(0).innamevalues), (List{{1, "yes"}, {2, "n"}}));

    DriverFile cut_name(bytes + std::string(20, '\0'));
    EXPECT_EQ(cut_name.set_up(), ERROR_READ);
    EXPECT_NE(cut_name.message().find("expected 40 bytes of a value-label table at byte"), std::string::npos)
        << cut_name.message();
    patch(cut_name.bytes, places.at("value_label_names") + 33, std::string(33, '\0')); // nobody looks behind "yn"
    DriverFile not_looked_for(cut_name.bytes);
    EXPECT_EQ(not_looked_for.set_up(), 0) << not_looked_for.message();
}

// A file that holds fewer observations than it says has no table area.
TEST(ValueLabels, NotBelievedBehindMissingObservations) {
    for (const std::uint64_t observations : {3ULL, 0x7FFFFFFFULL}) {
        StataFile file = labelled(115, ByteOrder::little, {"yn"});
        Offsets places;
        std::string bytes = build(file, &places);
        patch_number(bytes, places.at("N"), observations, 4, ByteOrder::little);
        DriverFile opened(bytes);
        EXPECT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_EQ(opened.variable(0).innamevalues, nullptr);
    }
}

// Many variables share one large table: the bytes are read once and its texts are kept once.
TEST(ValueLabels, SharedTablesAreReadOnce) {
    StataFile file = labelled(115, ByteOrder::little, std::vector<std::string>(300, "big"));
    file.value_labels = {{"big", {}}};
    for (int i = 0; i < 500; ++i)
        file.value_labels[0].entries.push_back({i, std::string(1000, 'x')});
    DriverFile opened(build(file));
    ASSERT_EQ(opened.set_up(), 0);
    std::int64_t bytes_read = 0;
    for (const std::int64_t request : opened.file.requests)
        bytes_read += request;
    EXPECT_LT(bytes_read, static_cast<std::int64_t>(opened.bytes.size()) + 200000);
    EXPECT_LT(opened.in.indsn->arena.taken_bytes, 300 * 500 * 64 + 1000000);
}

} // namespace
} // namespace vor::test
