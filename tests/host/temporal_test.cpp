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
        Temporal kind;
        std::vector<const char *> names;
    } cases[] = {
        {Temporal::date, {"DATE", "MMDDYY", "ddmmyys", "YYQRS", "QTRR", "WEEKU", "NLDATEMD", "B8601DA"}},
        {Temporal::date_time, {"DATETIME", "TOD", "NLDATMAP", "E8601DT", "B8601DZ"}},
        {Temporal::time, {"TIME", "hhmm", "NLTIMAP", "E8601TM"}},
        {Temporal::none, {"", "BEST", "$", "DATEA", "8601DA", "TIMES", "YYMM_COD", "MMYYYYYY", "NLDATEA", "B8601DAA"}},
    };
    for (const auto &[kind, names] : cases)
        for (const char *name : names)
            EXPECT_EQ(temporal_class({name, 0, 0}), kind) << name;
}

TEST(Temporal, TextsAndValues) {
    const struct {
        Temporal kind;
        double value;
        const char *text;
    } cases[] = {
        {Temporal::date, 14669, "2000-02-29"},
        {Temporal::date, -1, "1959-12-31"},
        {Temporal::date, -715509, "0001-01-01"},
        {Temporal::date, 2936549, "9999-12-31"},
        {Temporal::date_time, 14669.0 * 86400 + 45296.789, "2000-02-29T12:34:56.789"},
        {Temporal::date_time, -0.25, "1959-12-31T23:59:59.75"},
        {Temporal::date_time, -86400, "1959-12-31T00:00:00"},
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
        std::vector<double> values;
    } cases[] = {
        {Temporal::none, {0}},
        {Temporal::date, {0.5, -0.0, -715510, 2936550, 1e300, HUGE_VAL, missing_value('.'), std::nan("")}},
        {Temporal::date_time, {-0.0, -715510.0 * 86400, 253717920000, 5e-324, missing_value('A')}},
        {Temporal::time, {-1, 86400, 1e-19, -HUGE_VAL}},
    };
    for (const auto &[kind, values] : cases)
        for (const double value : values)
            EXPECT_EQ(iso_text(kind, value), std::nullopt) << value;
}

TEST(Temporal, TextsThatAreNone) {
    const struct {
        Temporal kind;
        std::vector<const char *> texts;
    } cases[] = {
        {Temporal::none, {"12:00:00"}},
        {Temporal::date, {"2001-02-29", "2000-13-01", "2000-00-01", "0000-01-01", "2000-1-1", "2000-02-29T00:00:00"}},
        {Temporal::date, {" 2000-02-29", "20000229", "+200-01-01"}},
        {Temporal::date_time, {"2000-02-29", "2000-02-29 12:34:56", "2000-02-29T12:34", "2000-02-29T12:34:56Z"}},
        {Temporal::date_time, {"2000-02-29T12:34:56.", "2000-02-29T12:34:56.1234567890123456789"}},
        {Temporal::time, {"", "24:00:00", "12:60:00", "12:00:60"}},
    };
    for (const auto &[kind, texts] : cases)
        for (const char *text : texts)
            EXPECT_EQ(parse_iso(kind, text), std::nullopt) << text;
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
