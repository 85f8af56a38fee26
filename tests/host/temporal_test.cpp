// Display formats' kinds, and ISO 8601 texts that give back the bits they were made from.
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace vor {
namespace {

TEST(Temporal, KindsOfFormats) {
    const struct {
        const char *name;
        Temporal kind;
    } cases[] = {
        {"MMDDYY", Temporal::date},
        {"ddmmyys", Temporal::date},
        {"YYMMDDN", Temporal::date},
        {"YYQRS", Temporal::date},
        {"QTRR", Temporal::date},
        {"WEEKU", Temporal::date},
        {"NLDATEMD", Temporal::date},
        {"B8601DA", Temporal::date},
        {"DATE", Temporal::date},
        {"DATETIME", Temporal::date_time},
        {"TOD", Temporal::date_time},
        {"NLDATMAP", Temporal::date_time},
        {"E8601DT", Temporal::date_time},
        {"B8601DZ", Temporal::date_time},
        {"TIME", Temporal::time},
        {"hhmm", Temporal::time},
        {"NLTIMAP", Temporal::time},
        {"E8601TM", Temporal::time},
        {"", Temporal::none},
        {"BEST", Temporal::none},
        {"$", Temporal::none},
        {"DATEA", Temporal::none},
        {"8601DA", Temporal::none},
        {"TIMES", Temporal::none},
        {"YYMM_COD", Temporal::none},
        {"MMYYYYYY", Temporal::none},
        {"PERCENT", Temporal::none},
    };
    for (const auto &row : cases)
        EXPECT_EQ(temporal_class({row.name, 0, 0}), row.kind) << row.name;
}

TEST(Temporal, TextsAndValues) {
    const struct {
        Temporal kind;
        double value;
        const char *text;
    } cases[] = {
        {Temporal::date, 0, "1960-01-01"},
        {Temporal::date, 14669, "2000-02-29"},
        {Temporal::date, -1, "1959-12-31"},
        {Temporal::date, -715509, "0001-01-01"},
        {Temporal::date, 2936549, "9999-12-31"},
        {Temporal::date_time, 14669.0 * 86400 + 45296.789, "2000-02-29T12:34:56.789"},
        {Temporal::date_time, 14669.0 * 86400 + 45296, "2000-02-29T12:34:56"},
        {Temporal::date_time, -0.25, "1959-12-31T23:59:59.75"},
        {Temporal::date_time, -86400, "1959-12-31T00:00:00"},
        {Temporal::date_time, -1e-3, "1959-12-31T23:59:59.999"},
        {Temporal::date_time, 253717919999, "9999-12-31T23:59:59"},
        {Temporal::time, 0, "00:00:00"},
        {Temporal::time, 86399.5, "23:59:59.5"},
        {Temporal::time, 1e-9, "00:00:00.000000001"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(iso_text(row.kind, row.value), row.text);
        EXPECT_EQ(parse_iso(row.kind, row.text), row.value) << row.text;
    }
}

TEST(Temporal, ValuesThatStayNumbers) {
    const struct {
        Temporal kind;
        double value;
    } cases[] = {
        {Temporal::none, 0},
        {Temporal::date, 0.5},
        {Temporal::date, -0.0},
        {Temporal::date, -715510},
        {Temporal::date, 2936550},
        {Temporal::date, 1e300},
        {Temporal::date, HUGE_VAL},
        {Temporal::date, missing_value('.')},
        {Temporal::date, std::nan("")},
        {Temporal::date_time, missing_value('A')},
        {Temporal::date_time, 253717920000},
        {Temporal::date_time, -715510.0 * 86400},
        {Temporal::date_time, -0.0},
        {Temporal::date_time, 5e-324},
        {Temporal::time, -1},
        {Temporal::time, 86400},
        {Temporal::time, 1e-19},
        {Temporal::time, -HUGE_VAL},
    };
    for (const auto &row : cases)
        EXPECT_EQ(iso_text(row.kind, row.value), std::nullopt) << row.value;
}

TEST(Temporal, TextsThatAreNone) {
    const struct {
        Temporal kind;
        const char *text;
    } cases[] = {
        {Temporal::date, "2001-02-29"},
        {Temporal::date, "2000-13-01"},
        {Temporal::date, "2000-00-01"},
        {Temporal::date, "0000-01-01"},
        {Temporal::date, "2000-1-1"},
        {Temporal::date, "2000-02-29T00:00:00"},
        {Temporal::date, " 2000-02-29"},
        {Temporal::date, "20000229"},
        {Temporal::date, "+200-01-01"},
        {Temporal::date_time, "2000-02-29"},
        {Temporal::date_time, "2000-02-29 12:34:56"},
        {Temporal::date_time, "2000-02-29T12:34"},
        {Temporal::date_time, "2000-02-29T12:34:56Z"},
        {Temporal::date_time, "2000-02-29T12:34:56."},
        {Temporal::date_time, "2000-02-29T12:34:56.1234567890123456789"},
        {Temporal::time, "24:00:00"},
        {Temporal::time, "12:60:00"},
        {Temporal::time, "12:00:60"},
        {Temporal::time, ""},
        {Temporal::none, "12:00:00"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(parse_iso(row.kind, row.text), std::nullopt) << row.text;
}

// Whatever becomes a text comes back with the same bits, and ordinary moments do become one.
TEST(Temporal, EveryTextGivesBackItsBits) {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> second_of_any_year(-6.18e10, 2.53e11);
    std::uniform_real_distribution<double> near_zero(-4, 4);
    for (int i = 0; i < 200000; ++i) {
        double value = i % 2 == 0 ? second_of_any_year(random) : near_zero(random);
        if (i % 3 == 0)
            value = std::round(value * 1000) / 1000;
        const auto text = iso_text(Temporal::date_time, value);
        if (!text) {
            EXPECT_TRUE(std::fabs(value) < 0.02 || (value == 0 && std::signbit(value))) << value;
            continue;
        }
        const auto back = parse_iso(Temporal::date_time, *text);
        ASSERT_TRUE(back) << *text;
        ASSERT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value)) << *text;
    }
}

} // namespace
} // namespace vor
