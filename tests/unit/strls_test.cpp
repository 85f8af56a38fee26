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
                         {reference(1, 9), 5, reference(2, 1)}};
            file.extra_strls = {{2, 70000, 130, "e\0"s}, {2, 70000, 129, "later"}, {1, 1, 130, "later\0"s}};
            DriverFile opened(build(file));
            std::int32_t status = 0;
            const Rows expected = {{"abc", 1.0, ""},
                                   {"", 2.0, "\0\xff\0"s},
                                   {"twelve bytes", 3.0, "\0\xff\0"s},
                                   {"abc", 4.0, "e"},
                                   {"", 5.0, ""}};
            EXPECT_EQ(opened.read_all(status), expected) << release << opened.message();
            EXPECT_EQ(status, 0);
            EXPECT_EQ(opened.host.log.text(),
                      "NOTE: The value of first at obs 5 is a long string that the file does not hold (variable 1, obs "
                      "9); it is left blank.\n"
                      "NOTE: Values left blank because the file does not hold their long strings: 2.\n");
            EXPECT_EQ(opened.variable(0).innamelength, 12);
            EXPECT_EQ(opened.variable(2).innamelength, 3);
            EXPECT_EQ(opened.variable(2).innameoffset, 10);
            EXPECT_EQ(opened.in.inreclen, 18);
        }
    }
}

// The depth of a tree whose nodes all tell the truth about their balance; a large number otherwise.
int balanced_height(const avlstruct *node) {
    if (node == nullptr)
        return 0;
    const int left = balanced_height(node->lchild);
    const int right = balanced_height(node->rchild);
    return right - left == node->bf && std::abs(node->bf) <= 1 ? std::max(left, right) + 1 : 1000000;
}

// Keys in whatever order the file has them, enough of them for many blocks of memory.
TEST(LongStrings, AnyOrderOfKeys) {
    StataFile file = two_variables(118, ByteOrder::little);
    Rows expected;
    std::vector<StrlRecord> rising;
    for (std::uint32_t i = 1; i <= 3000; ++i) {
        const std::string first = "a" + std::to_string(i);
        const std::string second(i % 90, 'b');
        file.rows.push_back({reference(1, i), 0, reference(3, i)});
        expected.push_back({first, 0.0, second});
        rising.push_back({1, i, 130, first + '\0'});
        rising.push_back({3, i, 129, second});
    }
    std::vector<std::vector<StrlRecord>> orders(4, rising);
    std::ranges::reverse(orders[1]);
    std::ranges::shuffle(orders[2], std::minstd_rand(7));
    std::swap(orders[3].front(), orders[3].back()); // strays
    for (const std::vector<StrlRecord> &order : orders) {
        file.extra_strls = order;
        DriverFile opened(build(file));
        std::int32_t status = 0;
        EXPECT_TRUE(opened.read_all(status) == expected) << order[0].observation << opened.message();
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
    EXPECT_EQ(opened.host.log.text(),
              "WARNING: Long strings of first of more than 32000 bytes were cut to that length: 2 in all, the first "
              "one at obs 1.\n"
              "NOTE: The value of second at obs 2 is longer than the variable's long strings and was cut to 1 bytes.\n"
              "NOTE: Values cut to the length of their variable: 2.\n");
}

TEST(LongStrings, CutAtACharacter) {
    const std::string bytes(31999, 'x');
    const struct {
        Cell text;
        std::size_t kept;
        bool told;
    } rows[] = {
        {bytes + "y", 32000, false}, // with its zero byte one more
        {bytes + "\xC3\xA9", 31999, true},
        {bytes.substr(2) + "\xF0\x9F\x98\x80", 31997, true},
        {bytes.substr(1) + "\xC3\xA9z", 32000, true},
        {bytes + "\x80\x80", 32000, true}, // no character
        {binary(bytes + "\xC3\xA9"), 32000, true},
    };
    for (const auto &row : rows) {
        StataFile file = two_variables(118, ByteOrder::little);
        file.rows = {{row.text, 1, "a"}};
        DriverFile opened(build(file));
        ASSERT_EQ(opened.set_up(), 0) << opened.message();
        EXPECT_EQ(opened.variable(0).innamelength, row.kept);
        EXPECT_EQ(!opened.host.log.text().empty(), row.told) << row.kept;
    }
}

TEST(LongStrings, DamagedSections) {
    StataFile file = two_variables(118, ByteOrder::big);
    file.rows = {{"abc", 1, "de"}};
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
        {"gso[0].observation", 1ULL << 63, 8, 0, ""},
        {"gso[1]", 0x3C, 1, 0, ""}, // ends the section
        {"<strls>", 0x20, 1, ERROR_INPUT_INVALID, "<strls> not found in the stata file: | strls>| at byte "},
    };
    for (const auto &row : rows) {
        DriverFile opened(with_number(file, row.place, row.value, row.width));
        EXPECT_EQ(opened.set_up(), row.status) << row.message;
        EXPECT_TRUE(row.status == 0 || opened.says(row.message)) << opened.message();
    }
}

// A file that ends inside the section. The map's entry for the value labels is put in front, so that the section is
// reached.
TEST(LongStrings, CutSections) {
    StataFile file = two_variables(117, ByteOrder::little);
    file.rows = {{std::string(70000, 'z'), 1, "de"}};
    Offsets places;
    build(file, &places);
    const std::string whole = with_number(file, "map", 0, 8, 8 * MAP_VALUE_LABELS);
    for (const char *place : {"strls", "gso[0].observation", "gso[0].text", "gso[1]", "gso[1].text", "</strls>"}) {
        DriverFile opened(whole.substr(0, places.at(place) + 1));
        EXPECT_EQ(opened.set_up(), ERROR_READ) << place;
        EXPECT_TRUE(opened.says("too short")) << place << opened.message();
    }
}

} // namespace
} // namespace vor::test
