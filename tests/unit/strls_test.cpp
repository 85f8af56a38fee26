// Long strings: the store, the references of each release, and sections that are damaged.
#include "driver_file.h"
#include "imstata_strls.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace vor::test {
namespace {

using namespace std::string_literals;

StataFile two_variables(int release, ByteOrder order) {
    StataFile file{.release = release, .order = order};
    file.variables = {{.name = "first", .type = Type::strl, .format = "%9s"},
                      {.name = "n", .type = Type::int16},
                      {.name = "second", .type = Type::strl, .format = "%9s"}};
    return file;
}

using Rows = std::vector<std::vector<DriverCell>>;

TEST(LongStrings, EveryReleaseInBothOrders) {
    for (const int release : {117, 118, 119}) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            StataFile file = two_variables(release, order);
            file.rows = {{"abc", 1, ""},
                         {"", 2, binary("\0\xff\0"s)},
                         {"twelve bytes", 3, reference(3, 2)},
                         {reference(1, 1), 4, reference(2, 70000)},
                         {reference(1, 9), 5, ""}};
            file.extra_strls = {{2, 70000, 130, "e\0"s},
                                {2, 70000, 130, "later\0"s},
                                {2, 70000, 129, "later"},
                                {1, 1, 130, "later\0"s}};
            DriverFile opened(build(file));
            std::int32_t status = 0;
            const Rows expected = {{"abc", 1.0, ""},
                                   {"", 2.0, "\0\xff\0"s},
                                   {"twelve bytes", 3.0, "\0\xff\0"s},
                                   {"abc", 4.0, "e"},
                                   {"", 5.0, ""}};
            EXPECT_EQ(opened.read_all(status), expected) << release << opened.message();
            EXPECT_EQ(status, 0);
            EXPECT_EQ(opened.variable(0).innamelength, 12);
            EXPECT_EQ(opened.variable(2).innamelength, 3);
            EXPECT_EQ(opened.variable(2).innameoffset, 10);
            EXPECT_EQ(opened.in.inreclen, 18);
        }
    }
}

// The value is blank-padded to the variable's width, which is 1 without any text.
TEST(LongStrings, Padding) {
    StataFile file = two_variables(118, ByteOrder::little);
    file.rows = {{"abc", 1, ""}, {"twelve bytes", 2, ""}};
    DriverFile opened(build(file));
    ASSERT_EQ(opened.set_up(), 0);
    ASSERT_EQ(opened.procs.initbuffer(&opened.in), 0);
    std::string output(13, '#');
    opened.procs.readit(&opened.in, &opened.variable(0), output.data(), 12);
    EXPECT_EQ(output, "abc         #");
    EXPECT_EQ(opened.variable(0).data_length, 3);
    output = "##";
    opened.procs.readit(&opened.in, &opened.variable(2), output.data(), 1);
    EXPECT_EQ(output, " #");
    EXPECT_EQ(opened.variable(2).innamelength, 1);
    DriverFile empty(build(two_variables(118, ByteOrder::little)));
    ASSERT_EQ(empty.set_up(), 0);
    EXPECT_EQ(empty.in.indsn->max_strls, nullptr);
}

// The depth of a tree whose nodes all tell the truth about their balance; a large number otherwise.
int balanced_height(const avlstruct *node) {
    if (node == nullptr)
        return 0;
    const int left = balanced_height(node->lchild);
    const int right = balanced_height(node->rchild);
    if (right - left != node->bf || node->bf < -1 || node->bf > 1)
        return 1000000;
    return std::max(left, right) + 1;
}

// Keys in whatever order the file has them, enough of them for many blocks of memory.
TEST(LongStrings, AnyOrderOfKeys) {
    constexpr int COUNT = 3000;
    std::vector<int> shuffled(COUNT);
    for (int i = 0; i < COUNT; ++i)
        shuffled[static_cast<std::size_t>(i)] = i + 1;
    std::vector<int> falling(shuffled.rbegin(), shuffled.rend());
    std::vector<int> late_stray = shuffled;
    std::swap(late_stray.front(), late_stray.back());
    std::vector<int> rising = shuffled;
    std::shuffle(shuffled.begin(), shuffled.end(), std::minstd_rand(7));
    for (const std::vector<int> &order : {rising, falling, shuffled, late_stray}) {
        StataFile file = two_variables(118, ByteOrder::little);
        Rows expected;
        for (int i = 1; i <= COUNT; ++i) {
            const auto number = static_cast<std::uint64_t>(i);
            file.rows.push_back({reference(1, number), 0, reference(3, number)});
            expected.push_back({"a" + std::to_string(i), 0.0, std::string(static_cast<std::size_t>(i % 90), 'b')});
        }
        for (const int i : order) {
            const auto number = static_cast<std::uint64_t>(i);
            file.extra_strls.push_back({1, number, 130, "a" + std::to_string(i) + "\0"s});
            file.extra_strls.push_back({3, number, 129, std::string(static_cast<std::size_t>(i % 90), 'b')});
        }
        DriverFile opened(build(file));
        std::int32_t status = 0;
        EXPECT_TRUE(opened.read_all(status) == expected) << order.front() << ' ' << order.back() << opened.message();
        EXPECT_LE(balanced_height(&opened.in.indsn->head_avl_shared_string->avlrec), 18); // 1.44 times log2 of 6000
    }
}

TEST(LongStrings, MemoryIsTheTexts) {
    StataFile file = two_variables(118, ByteOrder::little);
    for (int i = 0; i < 20000; ++i)
        file.rows.push_back({std::string(150, 'x'), 0, ""});
    Offsets places;
    DriverFile opened(build(file, &places));
    ASSERT_EQ(opened.set_up(), 0);
    const auto section = static_cast<double>(places.at("</strls>") - places.at("strls"));
    EXPECT_LT(static_cast<double>(opened.in.indsn->arena.taken_bytes), 1.3 * section);
}

TEST(LongStrings, TextsThatAreCut) {
    StataFile file = two_variables(118, ByteOrder::little);
    const std::string letters(40000, 'x');
    file.rows = {{letters, 1, "a"}, {std::string(31999, 'y'), 2, reference(1, 2)}, {letters, 3, reference(1, 2)}};
    DriverFile opened(build(file));
    std::int32_t status = 0;
    const Rows expected = {
        {std::string(32000, 'x'), 1.0, "a"}, {std::string(31999, 'y'), 2.0, "y"}, {std::string(32000, 'x'), 3.0, "y"}};
    EXPECT_TRUE(opened.read_all(status) == expected);
    EXPECT_EQ(status, 0) << opened.message();
    const std::vector<std::string> log = {
        "NOTE: Long strings of more than 32000 bytes were cut to that length: 2 in all, the first one that of variable "
        "1 "
        "at obs 1.",
        "NOTE: The value of second at obs 2 is longer than the variable's long strings and was cut to 1 bytes.",
        "NOTE: Values cut to the length of their variable: 2."};
    EXPECT_EQ(opened.host.log.lines, log);
}

TEST(LongStrings, DamagedSections) {
    StataFile file = two_variables(118, ByteOrder::big);
    file.rows = {{"abc", 1, "de"}};
    Offsets places;
    const std::string whole = build(file, &places);
    const struct {
        const char *place;
        std::uint64_t value;
        std::size_t width;
        std::int32_t status;
        const char *message; // a part of it
    } rows[] = {
        {"gso[1].variable", 0, 4, ERROR_INPUT_INVALID, "belongs to variable 0; the file has 3 variables."},
        {"gso[1].variable", 4, 4, ERROR_INPUT_INVALID, "belongs to variable 4; the file has 3 variables."},
        {"gso[0].variable", 0xFFFFFFFF, 4, ERROR_INPUT_INVALID, "belongs to variable 4294967295;"},
        {"gso[1].length", 0xFFFFFFFF, 4, ERROR_READ, "expected 4294967295 bytes of a long string at byte"},
        {"gso[1].length", 200, 4, ERROR_READ, "expected 200 bytes of a long string at byte"},
        {"gso[0].observation", 1ULL << 63, 8, 0, ""},
        {"gso[1]", 0x3C, 1, 0, ""}, // ends the section
        {"<strls>", 0x20, 1, ERROR_INPUT_INVALID, "<strls> not found in the stata file"},
    };
    for (const auto &row : rows) {
        std::string bytes = whole;
        patch_number(bytes, places.at(row.place), row.value, row.width, ByteOrder::big);
        DriverFile opened(bytes);
        EXPECT_EQ(opened.set_up(), row.status) << row.message;
        if (row.status != 0) {
            EXPECT_NE(opened.message().find(row.message), std::string::npos) << opened.message();
        }
    }
}

// A file that ends inside the section. The map's entry for the value labels is put in front, so that the section is
// reached.
TEST(LongStrings, CutSections) {
    StataFile file = two_variables(117, ByteOrder::little);
    file.rows = {{std::string(70000, 'z'), 1, "de"}};
    Offsets places;
    std::string whole = build(file, &places);
    patch_number(whole, places.at("map") + 8 * MAP_VALUE_LABELS, 0, 8, ByteOrder::little);
    for (const char *place : {"strls", "gso[0].observation", "gso[0].text", "gso[1]", "gso[1].text", "</strls>"}) {
        DriverFile opened(whole.substr(0, places.at(place) + 1));
        EXPECT_EQ(opened.set_up(), ERROR_READ) << place;
        EXPECT_NE(opened.message().find("too short"), std::string::npos) << place << opened.message();
    }
}

} // namespace
} // namespace vor::test
