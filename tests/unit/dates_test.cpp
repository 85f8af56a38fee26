// Day counts against the standard library's calendar, and the date readers.
#include "driver_records.h"
#include "imglue_dates.h"

#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace std::chrono;

std::int64_t day_count(year_month_day date) {
    return (sys_days{date} - sys_days{year{1899} / 12 / 31}).count();
}
std::int64_t minutes_of(year_month_day date, int minutes = 0) {
    return day_count(date) * 1440 + minutes;
}

void expect_both_ways(year_month_day date) {
    const auto month_number = static_cast<std::int16_t>(unsigned{date.month()});
    const auto day_number = static_cast<std::int16_t>(unsigned{date.day()});
    const auto year_number = static_cast<std::int16_t>(int{date.year()});
    ASSERT_EQ(julian(month_number, day_number, year_number), day_count(date));
    std::int16_t month = 0;
    std::int16_t day = 0;
    std::int16_t year = 0;
    mmddyy(day_count(date), &month, &day, &year);
    ASSERT_EQ(month, month_number);
    ASSERT_EQ(day, day_number);
    ASSERT_EQ(year, year_number);
}

TEST(DayCounts, EveryDayOfTheCalendar) {
    for (sys_days day = year{1582} / 10 / 15; day < sys_days{year{3000} / 1 / 1}; day += days{1})
        ASSERT_NO_FATAL_FAILURE(expect_both_ways(day));
    for (sys_days day = year{3000} / 1 / 1; day < sys_days{year{32767} / 1 / 1}; day += days{13})
        ASSERT_NO_FATAL_FAILURE(expect_both_ways(day));
}

TEST(DayCounts, Anchors) {
    EXPECT_EQ(julian(1, 1, 1900), 1);
    EXPECT_EQ(julian(1, 1, 1960), 21915);
    EXPECT_EQ(julian(3, 1, 2000), 36585);
    EXPECT_EQ(julian(10, 15, 1582), -115859);
    EXPECT_EQ(julian(10, 4, 1582), -115860);
    // Before the reform: the Julian 1 January 1500 is the Gregorian 10 January.
    EXPECT_EQ(julian(1, 1, 1500), day_count(year{1500} / 1 / 10));
    std::int16_t month = 0;
    std::int16_t day = 0;
    std::int16_t year_number = 0;
    mmddyy(day_count(year{1500} / 1 / 10), &month, &day, &year_number);
    EXPECT_EQ(std::tuple(month, day, year_number), std::tuple(1, 1, 1500));
    mmddyy(0, &month, &day, &year_number);
    EXPECT_EQ(std::tuple(month, day, year_number), std::tuple(12, 31, 1899));
}

TEST(DayCounts, WholeNumbers) {
    for (double number : {0.0, 0.5, -0.5, 1.0, -1.0, 1e15 + 0.5, -1e15 - 0.5, 1e300, -1e300, 9007199254740993.0}) {
        EXPECT_EQ(fint(number), std::trunc(number)) << number;
        EXPECT_EQ(whole_floor(number), std::floor(number)) << number;
    }
    EXPECT_TRUE(std::isnan(fint(std::nan(""))));
}

TEST(DateText, Months) {
    EXPECT_EQ(monthnum("jan"), 1);
    EXPECT_EQ(monthnum("SEPtember"), 9);
    EXPECT_EQ(monthnum("dec"), 12);
    EXPECT_EQ(monthnum("ja"), 13);
    EXPECT_EQ(monthnum(""), 13);
}

constexpr std::int64_t MISSING = -1;   // the sentinel is stored
constexpr std::int64_t UNTOUCHED = -2; // nothing is

struct ReaderCase {
    const char *text;
    std::int32_t result;
    std::int64_t minutes;
    std::int16_t field_length = 0; // 0: that of the text
    std::int16_t column = 0;
    std::int16_t line_length = 200;
    std::int16_t day_first = 0;
};

template <class Reader>
void expect_readings(std::initializer_list<ReaderCase> cases, Reader read) {
    for (const ReaderCase &c : cases) {
        SCOPED_TRACE(c.text);
        // A buffer of exactly the field's bytes, so that a reader that goes too far is caught.
        const std::string text(c.text);
        std::vector<char> field(text.begin(), text.end());
        ReaderCase given = c;
        if (given.field_length == 0)
            given.field_length = static_cast<std::int16_t>(text.size());
        double value = 12345.5;
        EXPECT_EQ(read(field.data(), &value, given), c.result);
        if (c.minutes == UNTOUCHED)
            EXPECT_EQ(value, 12345.5);
        else
            EXPECT_EQ(value, c.minutes == MISSING ? MISSING_SENTINEL : static_cast<double>(c.minutes));
    }
}

TEST(DateText, NamedMonths) {
    const year_month_day january = year{1998} / 1 / 15;
    expect_readings(
        {
            {"15JAN1998", 9, minutes_of(january)},
            {"  15jan98 ", 10, minutes_of(january)},
            {"15JAN1998:10.30", 15, minutes_of(january, 630)},
            {"15JAN1998:23", 12, minutes_of(january, 23 * 60)},
            {"29FEB2000", 9, minutes_of(year{2000} / 2 / 29)},
            {"01JAN100", 8, minutes_of(year{99} / 12 / 30)}, // a Julian date
            {"29FEB1900", -9, UNTOUCHED},
            {"31FEB1998", -9, UNTOUCHED},
            {"15JAX1998", -9, UNTOUCHED},
            {"15JAN1998:24", -12, UNTOUCHED},
            {"15JAN1998:10.60", -15, UNTOUCHED},
            {".", 1, MISSING},
            {"   ", 3, MISSING},
            {"15JANU1998", -6, MISSING},
            {"15/JAN", -3, MISSING},
            {"JAN1998", -1, MISSING},
            {"15JAN1998 x", -11, MISSING},
            {"15JAN1998.10", -10, MISSING},
            {"15", -2, MISSING},
            {"15JAN", -5, MISSING},
            {"15JAN1998:", -10, MISSING},
            {"15JAN99999", -10, MISSING},
            {".5", -2, MISSING},
            // The field or the line ends within the text.
            {"15JAN1998", 7, minutes_of(year{1919} / 1 / 15), 7},
            {"15JAN1998", 9, minutes_of(january), 50, 100, 109},
            {"15JAN1998", 0, MISSING, 9, 100, 100},
            // Width 20, or written in the hundreds: the first blank ends the value.
            {"15JAN1998 rest", 10, minutes_of(january), 20, 0, 14},
            {"15JAN1998 rest", 10, minutes_of(january), 2003, 0, 14},
            {"15JAN1998 rest", -11, MISSING, 1403},
        },
        [](const char *text, double *value, const ReaderCase &c) {
            return atofdate(text, value, c.field_length, c.column, c.line_length);
        });
}

TEST(DateText, NumericMonths) {
    const year_month_day january = year{1998} / 1 / 15;
    expect_readings(
        {
            {"01/15/1998", 10, minutes_of(january)},
            {"01151998", 8, minutes_of(january)},
            {"1/15/98", 7, minutes_of(january)},
            {"01/15/1998 10:30", 16, minutes_of(january, 630)},
            {"01/15/1998:10:30 ", 17, minutes_of(january, 630)},
            {"12/31/99", 8, minutes_of(year{1999} / 12 / 31)},
            {"15.01.1998", 10, minutes_of(january), 0, 0, 200, 1},
            {"15.01.1998", -10, UNTOUCHED},
            {"02/30/1998", -10, UNTOUCHED},
            {"00/15/1998", -10, UNTOUCHED},
            {"01/15/1998 24:00", -16, UNTOUCHED},
            {"01/15/1998 10:60", -16, UNTOUCHED},
            {".", 1, MISSING},
            {"", 1, MISSING},
            {"   ", 1, MISSING},
            {"00/00/0000", 1, MISSING},
            {"01/15/00", -8, MISSING},
            {"01/15", -5, MISSING},
            {"01-15-1998", -3, MISSING},
            {"01/15/1998 10:30:1", -17, MISSING},
            {"01/15/99999", -11, MISSING},
            {"01 15 1998", -4, MISSING},
            {"01/15/1998 rest", 11, minutes_of(january), 20, 0, 15},
            {"01/15/1998 rest", -12, MISSING},
        },
        [](const char *text, double *value, const ReaderCase &c) {
            return atomdy(text, value, c.field_length, c.column, c.line_length, c.day_first);
        });
}

} // namespace
