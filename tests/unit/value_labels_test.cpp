// Value-label tables in every layout: found by name, delivered in order, left out when they do not fit.
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

// The driver on a file, asked to deliver the labels of tagged files, too.
struct LabelledFile : DriverFile {
    explicit LabelledFile(const std::string &contents, std::int64_t outmode = OUTMODE_IMPORT | OUTMODE_WRITE_LABELS)
        : DriverFile(contents) {
        self->outmode = outmode;
    }
    List labels(std::size_t index) { return entries_of(variable(index).innamevalues); }
};

TEST(ValueLabels, FoundByNameInEveryRelease) {
    for (const int release : {104, 105, 108, 110, 113, 115, 117, 118, 119}) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            StataFile file = labelled(release, order, {"abc", "none", "ABC", "", " abc", "first", "empty"});
            file.variables.push_back({.name = "text", .type = str(3), .format = "%3s", .value_label = "abc"});
            for (Row &row : file.rows)
                row.push_back("x");
            file.value_labels = {{"first", {{-2, "minus tw"}, {300, "x"}}},
                                 {"Abc", {{1, "a"}, {3, "exactly8"}, {1, "again"}}},
                                 {"abc", {{9, "another"}}},
                                 {" abc", {{8, "nobody's"}}},
                                 {"empty", {}}};
            LabelledFile opened(build(file));
            ASSERT_EQ(opened.set_up(), 0) << release << opened.message();
            const List abc = {{1, "a"}, {3, "exactly8"}, {1, "again"}};
            const List first = {{-2, "minus tw"}, {300, "x"}};
            const List expected[] = {abc, {}, abc, {}, {}, first, {}, {}};
            for (std::size_t i = 0; i < std::size(expected); ++i)
                EXPECT_EQ(opened.labels(i), expected[i]) << release << ' ' << i;
            EXPECT_EQ(opened.variable(0).innamevalues, opened.variable(2).innamevalues) << "made once";
            LabelledFile not_asked(build(file), OUTMODE_IMPORT);
            ASSERT_EQ(not_asked.set_up(), 0);
            EXPECT_EQ(not_asked.variable(0).innamevalues == nullptr, release >= 117) << release;
        }
    }
}

TEST(ValueLabels, DamagedTables) {
    const struct {
        const char *what;
        int release;
        const char *place;
        std::uint64_t value;
        const char *message; // a part of the warning; null: no fault
    } rows[] = {
        {"more entries than bytes", 115, "value_labels[1].n", 4, "number of entries, 4 where at most 3 fits"},
        {"a negative count", 115, "value_labels[1].n", 0xFFFFFFFF, nullptr},
        {"texts longer than the table", 115, "value_labels[1].text_bytes", 21, "bytes of its texts"},
        {"an offset behind the texts", 113, "value_labels[1].offsets", 12, "12 where at most 11 fits"},
        {"no room for the counts", 115, "value_labels[1].length", 7, "bytes of its counts"},
        {"a tagged length past the file", 118, "value_labels[1].length", 0xFFFFFFFF,
         "has a length of 4294967295 bytes; the file holds"},
        {"the length of a table in front", 115, "value_labels[0].length", 0x7FFFFFFF,
         "The value-label table good at byte"},
        {"more short entries than the file", 105, "value_labels[1].n", 0x7FFF, "The value-label table bad at byte"},
        {"a negative short count", 105, "value_labels[1].n", 0x8000, nullptr},
        {"a negative short count in front", 105, "value_labels[0].n", 0xFFFF, "The value-label table good at byte"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        StataFile file = labelled(row.release, ByteOrder::big, {"bad"});
        file.value_labels = {{"good", {{1, "one"}}}, {"bad", {{1, "12345"}, {2, "67890"}}}, {"last", {{3, "abcdefg"}}}};
        LabelledFile opened(with_number(file, row.place, row.value, row.release < 108 ? 2 : 4));
        const bool refused = row.message != nullptr;
        EXPECT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_TRUE(opened.labels(0).empty());
        EXPECT_EQ(opened.host.log.contains("The variable v0 has no value labels."), refused);
        EXPECT_TRUE(!refused || opened.host.log.contains(row.message)) << opened.host.log.text();
    }
}

// What stands behind a damaged table is unknown; what stands in front of it is not.
TEST(ValueLabels, DamageBehindTheWantedTable) {
    StataFile file = labelled(115, ByteOrder::little, {"good"});
    file.value_labels = {{"good", {{1, "one"}}}, {"bad", {{1, "x"}}}};
    LabelledFile opened(with_number(file, "value_labels[1].length", 0x7FFFFFFF, 4));
    ASSERT_EQ(opened.set_up(), 0) << opened.message();
    EXPECT_EQ(opened.labels(0), (List{{1, "one"}}));
    innamevaluestruct *list = nullptr;
    EXPECT_EQ(load_stata_valuelist_v6(&opened.in, opened.file.handle, &list, "missing", 33), ERROR_INPUT_INVALID);
    EXPECT_EQ(load_stata_valuelist_v6(&opened.in, opened.file.handle, &list, "GOOD  ", 33), 0);
    EXPECT_EQ(entries_of(list), (List{{1, "one"}}));
}

TEST(ValueLabels, DamagedTags) {
    const struct {
        const char *behind; // what the damaged tag stands in front of, with so many bytes between
        std::size_t bytes;
        List first, second;
        const char *note;
    } rows[] = {
        {"value_labels[0].length", 5, {}, {}, "expected <lbl>, found |?lbl>|."},
        {"value_labels[1].length", 5, {{1, "one"}}, {}, "expected </lbl><lbl>, found |</lbl>?lbl>|."},
        {"</value_labels>", 3, {{1, "one"}}, {{2, "two"}}, "expected </lbl><lbl>, found |</l?l></val|."},
    };
    StataFile file = labelled(118, ByteOrder::little, {"first", "second"});
    file.value_labels = {{"first", {{1, "one"}}}, {"second", {{2, "two"}}}};
    Offsets places;
    const std::string sound = build(file, &places);
    for (const auto &row : rows) {
        std::string bytes = sound;
        const std::size_t place = places.at(row.behind) - row.bytes;
        bytes[place] = '?';
        LabelledFile opened(bytes);
        ASSERT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_EQ(std::pair(opened.labels(0), opened.labels(1)), std::pair(row.first, row.second)) << row.note;
        EXPECT_TRUE(opened.host.log.contains(row.note)) << opened.host.log.text();
    }
    std::string bytes = sound;
    bytes[places.at("value_labels[0].length") - 6] = '?';
    LabelledFile unopened(bytes);
    EXPECT_EQ(unopened.set_up(), ERROR_INPUT_INVALID);
    EXPECT_TRUE(unopened.says("<value_labels> not found in the stata file: |<value_labels?| at byte "))
        << unopened.message();
}

// A last text without its zero byte ends with the area; bytes too few for a table behind the last one are no damage.
TEST(ValueLabels, EndsOfTheArea) {
    StataFile file = labelled(115, ByteOrder::little, {"yn", "none"});
    file.value_labels = {{"yn", {{1, "yes"}, {2, "no"}}}};
    Offsets places;
    std::string bytes = build(file, &places);
    bytes.back() = '!';
    for (const std::size_t behind : {0U, 3U}) {
        LabelledFile opened(bytes + std::string(behind, 'x'));
        ASSERT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_EQ(opened.labels(0), (List{{1, "yes"}, {2, "no!"}}));
    }
    patch_number(bytes, places.at("value_labels[0].text_bytes"), 5, 4, ByteOrder::little);
    LabelledFile short_area(bytes);
    ASSERT_EQ(short_area.set_up(), 0) << short_area.message();
    EXPECT_EQ(short_area.labels(0), (List{{1, "yes"}, {2, "n"}}));

    LabelledFile cut_name(bytes + std::string(20, '\0'));
    EXPECT_EQ(cut_name.set_up(), ERROR_READ);
    EXPECT_TRUE(cut_name.says("expected 40 bytes of a value-label table at byte")) << cut_name.message();
    LabelledFile not_asked(bytes + std::string(20, '\0'), OUTMODE_IMPORT);
    EXPECT_EQ(not_asked.set_up(), 0) << not_asked.message();
    EXPECT_TRUE(not_asked.host.log.contains("expected 40 bytes of a value-label table at byte"));
}

// A file that holds fewer observations than it says has no table area.
TEST(ValueLabels, NotBelievedBehindMissingObservations) {
    for (const std::uint64_t observations : {3ULL, 0x7FFFFFFFULL}) {
        LabelledFile opened(with_number(labelled(115, ByteOrder::little, {"yn"}), "N", observations, 4));
        EXPECT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_EQ(opened.variable(0).innamevalues, nullptr);
        EXPECT_TRUE(opened.host.log.contains("is too short for its " + std::to_string(observations)));
    }
}

// Many variables share one large table: the bytes are read once and its texts are kept once.
TEST(ValueLabels, SharedTablesAreReadOnce) {
    StataFile file = labelled(115, ByteOrder::little, std::vector<std::string>(300, "big"));
    file.value_labels = {{"big", {}}};
    for (int i = 0; i < 500; ++i)
        file.value_labels[0].entries.push_back({i, std::string(1000, 'x')});
    LabelledFile opened(build(file));
    ASSERT_EQ(opened.set_up(), 0);
    std::int64_t bytes_read = 0;
    for (const std::int64_t request : opened.file.requests)
        bytes_read += request;
    EXPECT_LT(bytes_read, static_cast<std::int64_t>(opened.bytes.size()) + 200000);
    EXPECT_LT(opened.in.indsn->arena.taken_bytes, 300 * 500 * 64 + 1000000);
}

} // namespace
} // namespace vor::test
