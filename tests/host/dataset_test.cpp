// Formats as people write them, numbers as text, labels of values.
#include <vorhost/dataset.h>
#include <vorhost/missing.h>
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

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Formats, TextBothWays) {
    EXPECT_EQ(parse_format("$10."), (Format{"$", 10, 0}));
    EXPECT_EQ(parse_format("E8601DA12.4"), (Format{"E8601DA", 12, 4}));
    EXPECT_EQ(parse_format("age_1A."), (Format{"age_1A", 0, 0}));
    for (const char *text : {"", "9.2", "$10.", "E8601DA12.4", "age_1A."})
        EXPECT_EQ(format_text(parse_format(text)), text);
    for (const char *text : {"AGE", ".", ".2", "A GE.", "8.x", "$$5.", "DATE9.2.1", "F99999999999.", "AGE-1."})
        EXPECT_EQ(parse_format(text), Format{}) << text;
}

void expect_number(const char *text, double value) {
    const auto back = parse_number_text(text);
    ASSERT_TRUE(back) << text;
    EXPECT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value)) << text;
}

TEST(Numbers, Texts) {
    const std::pair<const char *, double> written[] = {
        {"-0", -0.0},
        {"-12.5", -12.5},
        {"100000", 1e5},
        {"9007199254740991", 9007199254740991},
        {"1e+16", 1e16},
        {"5e-324", 5e-324},
        {"-inf", -infinity},
        {".", missing_value('.')},
        {"._", missing_value('_')},
        {".z", missing_value('Z')},
    };
    for (const auto &[text, value] : written) {
        EXPECT_EQ(number_text(value), text);
        expect_number(text, value);
    }
    const std::pair<const char *, double> also_read[] = {
        {" 007 ", 7},
        {".5", 0.5},
        {"5.", 5},
        {"1E3", 1000},
        {".Q", missing_value('q')},
        {"", missing_value('.')},
        {"9007199254740993", 9007199254740992.0},
        {"0.30000000000000004", 0.1 + 0.2},
        {"123456789012345678901234567890", 123456789012345678901234567890.0}};
    for (const auto &[text, value] : also_read)
        expect_number(text, value);
    for (const char *text : {"+1", "1 2", "0x10", "1e999", "1e", "-", "--1", "1.2.3", "1,5", "INF", "NaN", ".1a", ".ab",
                             "._x", "e5", "-.", "1_000"})
        EXPECT_EQ(parse_number_text(text), std::nullopt) << text;
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
        const bool plain =
            value == std::trunc(value) && std::fabs(value) < 0x1p53 && (value != 0 || !std::signbit(value));
        const char *end = plain ? std::to_chars(shortest.begin(), shortest.end(), static_cast<int64_t>(value)).ptr
                                : std::to_chars(shortest.begin(), shortest.end(), value).ptr;
        const std::string text = number_text(value);
        ASSERT_EQ(text, std::string_view(shortest.begin(), static_cast<size_t>(end - shortest.begin())));
        const auto back = parse_number_text(text);
        ASSERT_TRUE(back) << text;
        ASSERT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value)) << text;
    }
}

TEST(Labels, FoundByValueIntervalAndMark) {
    const double none = missing_value('.');
    const double refused = missing_value('A');
    const UserFormat numbers{.name = "F",
                             .ranges = {{none, none, {"none"}},
                                        {refused, refused, {"refused"}},
                                        {0.0, 10.0, {"low", "second label"}},
                                        {5.0, 20.0, {"high"}},
                                        {7.0, 7.0, {"seven"}},
                                        {7.0, 7.0, {"seven again"}},
                                        {0.0, 0.0, {"zero"}}}};
    const UserFormat texts{
        .name = "$F", .kind = ValueKind::character, .ranges = {{"m", "m", {"male"}}, {"x", "z", {"other"}}}};
    const LabelIndex of_numbers(numbers);
    const LabelIndex of_texts(texts);
    const auto shown = [](const std::string *label) { return label ? *label : "no label"; };
    const struct {
        const char *label;
        std::vector<double> values;
    } cases[] = {{"none", {none}},
                 {"refused", {refused}},
                 {"low", {3, 10}},
                 {"high", {10.5, 20}},
                 {"seven", {7}},
                 {"zero", {-0.0}},
                 {"no label", {20.5, -1, missing_value('B'), std::nan("")}}};
    for (const auto &[label, values] : cases)
        for (const double value : values)
            EXPECT_EQ(shown(of_numbers.find(value)), label) << value;
    EXPECT_EQ(shown(of_texts.find("m")), "male");
    EXPECT_EQ(shown(of_texts.find("y")), "other");
    EXPECT_EQ(shown(of_texts.find("mm")), "no label");
}

} // namespace
} // namespace vor
