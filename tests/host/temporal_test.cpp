// Display formats' kinds, and ISO 8601 texts that give back the bits they were made from.
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

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

// A calendar that counts days one by one, with nothing but the rule of leap years.
class CountedDays {
  public:
    int64_t day = 0;
    int year = 1960;
    int month = 1;
    int day_of_month = 1;
    int day_of_year = 0;

    void forward() {
        ++day, ++day_of_year;
        if (++day_of_month <= month_days(month))
            return;
        day_of_month = 1;
        if (++month <= 12)
            return;
        month = 1, day_of_year = 0, ++year;
    }
    void backward() {
        --day, --day_of_year;
        if (--day_of_month >= 1)
            return;
        if (--month < 1)
            month = 12, --year, day_of_year = leap() ? 365 : 364;
        day_of_month = month_days(month);
    }
    std::string text() const {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", year, month, day_of_month);
        return buffer;
    }

  private:
    bool leap() const { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }
    int month_days(int of) const {
        return of == 2 ? (leap() ? 29 : 28) : of == 4 || of == 6 || of == 9 || of == 11 ? 30 : 31;
    }
};

// Every period from -3000 to 3000 that a date of the calendar begins, and every date inside it.
void compare_periods(const CountedDays &at) {
    const int years = at.year - 1960;
    const struct {
        Temporal kind;
        int64_t number;
        bool first;
    } rows[] = {
        {Temporal::date, at.day, true},
        {Temporal::week, years * 52 + std::min(at.day_of_year / 7, 51),
         at.day_of_year % 7 == 0 && at.day_of_year < 364},
        {Temporal::month, years * 12 + at.month - 1, at.day_of_month == 1},
        {Temporal::quarter, years * 4 + (at.month - 1) / 3, at.day_of_month == 1 && at.month % 3 == 1},
        {Temporal::half_year, years * 2 + (at.month - 1) / 6, at.day_of_month == 1 && at.month % 6 == 1},
        {Temporal::year, at.year, at.day_of_month == 1 && at.month == 1},
    };
    const std::string text = at.text();
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

TEST(Temporal, PeriodsAgreeWithCountedDays) {
    CountedDays forward;
    for (; forward.year <= 3460; forward.forward())
        ASSERT_NO_FATAL_FAILURE(compare_periods(forward));
    CountedDays backward;
    for (; backward.year >= 1; backward.backward())
        ASSERT_NO_FATAL_FAILURE(compare_periods(backward));
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
