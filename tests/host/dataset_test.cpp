// Formats as people write them, numbers as text, parts of data sets, labels of values.
#include "tables_in_memory.h"

#include <vorhost/dataset.h>
#include <vorhost/missing.h>
#include <vorhost/selection.h>
#include <vorhost/tables.h>
#include <vorhost/user_format.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace vor {
namespace {

TEST(Formats, TextBothWays) {
    const struct {
        Format format;
        const char *text;
    } cases[] = {
        {{"MMDDYY", 8, 0}, "MMDDYY8."},
        {{"", 9, 2}, "9.2"},
        {{"$", 10, 0}, "$10."},
        {{"AGE", 0, 0}, "AGE."},
        {{"", 0, 0}, ""},
        {{"E8601DA", 10, 0}, "E8601DA10."},
        {{"age_1A", 0, 0}, "age_1A."},
        {{"BEST", 12, 4}, "BEST12.4"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(format_text(row.format), row.text);
        EXPECT_EQ(parse_format(row.text), row.format) << row.text;
    }
    for (const char *text : {"AGE", ".", ".2", "A GE.", "8.x", "$$5.", "DATE9.2.1", "F99999999999.", "AGE-1."})
        EXPECT_EQ(parse_format(text), Format{}) << text;
}

TEST(Numbers, TextBothWays) {
    const struct {
        double value;
        const char *text;
    } cases[] = {
        {0, "0"},
        {-0.0, "-0"},
        {0.1, "0.1"},
        {-12.5, "-12.5"},
        {1e5, "1e+05"},
        {1e300, "1e+300"},
        {5e-324, "5e-324"},
        {std::numeric_limits<double>::infinity(), "inf"},
        {-std::numeric_limits<double>::infinity(), "-inf"},
        {missing_value('.'), "."},
        {missing_value('_'), "._"},
        {missing_value('A'), ".a"},
        {missing_value('Z'), ".z"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(number_text(row.value), row.text);
        const auto back = parse_number_text(row.text);
        ASSERT_TRUE(back) << row.text;
        EXPECT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(row.value)) << row.text;
    }
}

TEST(Numbers, Reading) {
    const struct {
        const char *text;
        double value;
    } good[] = {{" 12 ", 12},
                {"007", 7},
                {".5", 0.5},
                {"5.", 5},
                {"-.25", -0.25},
                {"1E3", 1000},
                {"9007199254740993", 9007199254740992.0},
                {"0.30000000000000004", 0.1 + 0.2},
                {"123456789012345678901234567890", 123456789012345678901234567890.0},
                {"1.7976931348623157e308", std::numeric_limits<double>::max()}};
    for (const auto &row : good)
        EXPECT_EQ(parse_number_text(row.text), row.value) << row.text;
    for (const char *text : {"+1", "1 2", "0x10", "1e999", "1e", "-", "--1", "1.2.3", "1,5", "INF", "NaN", ".1a", ".ab",
                             "._x", "e5", "-.", "1_000",
                             "\xC2\xA0"
                             "1"})
        EXPECT_EQ(parse_number_text(text), std::nullopt) << text;
    EXPECT_EQ(std::bit_cast<uint64_t>(*parse_number_text(".Q")), std::bit_cast<uint64_t>(missing_value('q')));
    EXPECT_EQ(std::bit_cast<uint64_t>(*parse_number_text("")), std::bit_cast<uint64_t>(missing_value('.')));
}

// The shortest text there is, by the standard library, and one that reads back to the same double: any bits, decimals
// of every count and size, their neighbours, and numbers that were narrow ones.
TEST(Numbers, EveryDoubleComesBackFromItsShortestText) {
    std::mt19937_64 random(11);
    for (int i = 0; i < 400000; ++i) {
        double value = std::bit_cast<double>(random());
        const double power = std::pow(10, static_cast<double>(random() % 9));
        if (i % 4 != 0)
            value = std::round(std::fmod(value, std::pow(10, static_cast<double>(random() % 17)))) / power;
        if (i % 4 == 2)
            value = std::nextafter(value, 0);
        if (i % 4 == 3)
            value = static_cast<float>(value);
        if (!std::isfinite(value))
            continue;
        std::array<char, 32> shortest{};
        const char *end = std::to_chars(shortest.begin(), shortest.end(), value).ptr;
        const std::string text = number_text(value);
        ASSERT_EQ(text, std::string_view(shortest.begin(), static_cast<size_t>(end - shortest.begin())));
        const auto back = parse_number_text(text);
        ASSERT_TRUE(back) << text;
        ASSERT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value));
    }
}

TEST(Selections, RowsOfASource) {
    const test::Scratch scratch;
    const std::string csv = scratch.write("s.csv", "a,b,c,d\n1,x,2,.a\n3,\"y \",4,5\n,,,.z\n6,w,7,\n");
    const struct {
        Selection selection;
        int64_t limit;
        int64_t rows;
        const char *expected;
    } cases[] = {
        {{}, -1, 4, "a,b,c,d\n1,x,2,.a\n3,y,4,5\n,,,.z\n6,w,7,\n"},
        {{.keep = {"d", "b"}, .first_row = 2}, 2, 2, "b,d\ny,5\n,.z\n"},
        {{.drop = {"b", "d"}, .first_row = 4}, -1, 1, "a,c\n6,7\n"},
        {{.first_row = 5}, -1, 0, "a,b,c,d\n"},
        {{.first_row = 6}, -1, 0, "a,b,c,d\n"},
        {{.drop = {"a"}}, 0, 0, "b,c,d\n"},
    };
    for (const auto &one : cases) {
        const auto source = delimited_source(csv, ',', nullptr);
        const auto sink = delimited_sink(scratch.file("o.csv"), {});
        EXPECT_EQ(copy_rows(*source, csv, one.selection, *sink, one.limit), one.rows);
        EXPECT_EQ(scratch.read("o.csv"), one.expected);
    }
}

TEST(Labels, FoundByValueIntervalAndMark) {
    UserFormat format{"F", ValueKind::numeric, true, {}, 0};
    format.ranges = {{missing_value('.'), missing_value('.'), {"none"}},
                     {missing_value('A'), missing_value('A'), {"refused"}},
                     {0.0, 10.0, {"low", "second label"}},
                     {5.0, 20.0, {"high"}},
                     {7.0, 7.0, {"seven"}},
                     {7.0, 7.0, {"seven again"}},
                     {0.0, 0.0, {"zero"}}};
    const LabelIndex index(format);
    const struct {
        double value;
        const char *label; // null: none
    } cases[] = {{missing_value('.'), "none"},
                 {missing_value('A'), "refused"},
                 {missing_value('B'), nullptr},
                 {3, "low"},
                 {10, "low"},
                 {10.5, "high"},
                 {7, "seven"},
                 {-0.0, "zero"},
                 {20.5, nullptr},
                 {std::nan(""), nullptr}};
    for (const auto &row : cases) {
        const std::string *label = index.find(row.value);
        EXPECT_EQ(label == nullptr, row.label == nullptr) << row.value;
        if (label && row.label) {
            EXPECT_EQ(*label, row.label);
        }
    }
    UserFormat texts{"$F", ValueKind::character, false, {}, 0};
    texts.ranges = {{std::string("m"), std::string("m"), {"male"}}, {std::string("x"), std::string("z"), {"other"}}};
    const LabelIndex text_index(texts);
    EXPECT_EQ(*text_index.find("m"), "male");
    EXPECT_EQ(*text_index.find("y"), "other");
    EXPECT_EQ(text_index.find("mm"), nullptr);
    EXPECT_EQ(format, UserFormat(format)) << "missing values equal themselves";
}

} // namespace
} // namespace vor
