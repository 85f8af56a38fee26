// Display formats' kinds, and ISO 8601 texts that give back the bits they were made from.
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <chrono>
#include <cmath>
#include <gtest/gtest.h>

namespace vor {
namespace {

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
        {Temporal::week, -1, "1959-12-24"},
        {Temporal::week, 2080, "2000-01-01"},
        {Temporal::week, 2131, "2000-12-23"},
        {Temporal::month, -23, "1958-02-01"},
        {Temporal::month, -23508, "0001-01-01"},
        {Temporal::month, 96479, "9999-12-01"},
        {Temporal::quarter, -1, "1959-10-01"},
        {Temporal::half_year, 81, "2000-07-01"},
        {Temporal::year, 1500, "1500-01-01"},
        {Temporal::clock, 1267446896789, "2000-02-29T12:34:56.789"},
        {Temporal::clock, -1, "1959-12-31T23:59:59.999"},
        {Temporal::clock, 0.5, "1960-01-01T00:00:00.0005"},
        {Temporal::clock, -0.25, "1959-12-31T23:59:59.99975"},
        {Temporal::clock, 253717919999999, "9999-12-31T23:59:59.999"},
        {Temporal::time_of_day, 45296789, "12:34:56.789"},
        {Temporal::time_of_day, 86400000, "1960-01-02T00:00:00"},
        {Temporal::time_of_day, -1000, "1959-12-31T23:59:59"},
        {Temporal::leap_clock, 394416000000 - 1, "1972-06-30T23:59:59.999"},
        {Temporal::leap_clock, 394416000000, "1972-06-30T23:59:60"},
        {Temporal::leap_clock, 394416000999, "1972-06-30T23:59:60.999"},
        {Temporal::leap_clock, 394416001000, "1972-07-01T00:00:00"},
        {Temporal::leap_clock, 1798848026500, "2016-12-31T23:59:60.5"},
        {Temporal::leap_clock, 1798848027000, "2017-01-01T00:00:00"},
        {Temporal::leap_clock, -1, "1959-12-31T23:59:59.999"},
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
        {Temporal::month, {0.5, -0.0, -23509, 96480, 1e300, missing_value('.'), std::nan("")}},
        {Temporal::week, {-101869, 418080}},
        {Temporal::year, {0, 10000}},
        {Temporal::clock, {-0.0, 253717920000000, 1e-16, missing_value('A')}},
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
        {Temporal::clock, {"2016-12-31T23:59:60", "12:34:56", "2000-02-29"}},
        {Temporal::leap_clock, {"2016-12-31T23:58:60", "2016-12-30T23:59:60", "2016-12-31T23:59:61"}},
        {Temporal::time_of_day, {"24:00:00", "12:34", "2000-02-29"}},
        {Temporal::month, {"2000-02", "2000-02-30", "2000-02-29T00:00:00"}},
    };
    for (const auto &[kind, texts] : cases)
        for (const char *text : texts)
            EXPECT_EQ(parse_iso(kind, text), std::nullopt) << text;
}

// Every period from the year 1 to 3460 that a date of the calendar begins, and every date inside it.
TEST(Temporal, PeriodsAgreeWithTheCalendar) {
    using namespace std::chrono;
    for (sys_days day = year{1} / 1 / 1; day < sys_days{year{3461} / 1 / 1}; day += days{1}) {
        const year_month_day date = day;
        const int year_number = static_cast<int>(date.year()), years = year_number - 1960;
        const int month = static_cast<int>(static_cast<unsigned>(date.month()));
        const auto day_of_year = static_cast<int>((day - sys_days{date.year() / 1 / 1}).count());
        const bool first = date.day() == std::chrono::day{1};
        const struct {
            Temporal kind;
            int64_t number;
            bool first;
        } rows[] = {
            {Temporal::date, (day - sys_days{year{1960} / 1 / 1}).count(), true},
            {Temporal::week, years * 52 + std::min(day_of_year / 7, 51), day_of_year % 7 == 0 && day_of_year < 364},
            {Temporal::month, years * 12 + month - 1, first},
            {Temporal::quarter, years * 4 + (month - 1) / 3, first && month % 3 == 1},
            {Temporal::half_year, years * 2 + (month - 1) / 6, first && month % 6 == 1},
            {Temporal::year, year_number, first && month == 1},
        };
        char text[32];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d", year_number, month,
                      static_cast<int>(static_cast<unsigned>(date.day())));
        for (const auto &row : rows) {
            const auto moment = parse_moment(row.kind, text);
            ASSERT_TRUE(moment) << text;
            ASSERT_EQ(moment->value, static_cast<double>(row.number)) << text << " as " << static_cast<int>(row.kind);
            ASSERT_EQ(moment->inside, !row.first) << text << " as " << static_cast<int>(row.kind);
            if (row.first) {
                ASSERT_EQ(iso_text(row.kind, static_cast<double>(row.number)), text);
            }
        }
    }
}

TEST(Temporal, Conversions) {
    const struct {
        Temporal from;
        double value;
        Temporal to;
        std::optional<double> result;
    } cases[] = {
        {Temporal::date_time, 1267446896.789, Temporal::clock, 1267446896789},
        {Temporal::clock, 1267446896789, Temporal::date_time, 1267446896.789},
        {Temporal::time, 0.001, Temporal::time_of_day, 1},
        {Temporal::date, 14669, Temporal::month, 481},
        {Temporal::month, 481, Temporal::date, 14641},
        {Temporal::leap_clock, 1798848027000, Temporal::clock, 1798848000000},
        {Temporal::date, 14669, Temporal::clock, std::nullopt},
        // Outside the calendar, from one that repeats itself every 146,097 days.
        {Temporal::month, 200000, Temporal::date, 6087375.0},
        {Temporal::date, 6087375, Temporal::month, 200000.0},
        {Temporal::week, -110000, Temporal::date, -772629.0},
        {Temporal::date, -772629, Temporal::week, -110000.0},
        {Temporal::year, 12345, Temporal::date, 3793044.0},
        {Temporal::quarter, 1e300, Temporal::date, std::nullopt},
        {Temporal::quarter, 0.5, Temporal::date, std::nullopt},
    };
    for (const auto &row : cases) {
        const auto moment = converted(row.from, row.value, row.to);
        EXPECT_EQ(moment ? std::optional(moment->value) : std::nullopt, row.result) << row.value;
    }
    EXPECT_TRUE(converted(Temporal::date, 14669, Temporal::month)->inside);
    EXPECT_TRUE(in_leap_second(Temporal::leap_clock, 1798848026000));
    EXPECT_FALSE(in_leap_second(Temporal::leap_clock, 1798848027000));
}

} // namespace
} // namespace vor
