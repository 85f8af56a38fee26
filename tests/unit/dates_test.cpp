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
double minutes_of(year_month_day date, int minutes = 0) {
    return static_cast<double>(day_count(date) * 1440 + minutes);
}

// Month, day and year.
using Date = std::tuple<std::int16_t, std::int16_t, std::int16_t>;

Date date_of(std::int64_t days_counted) {
    Date date;
    auto &[month, day, year_number] = date;
    mmddyy(days_counted, &month, &day, &year_number);
    return date;
}

void expect_both_ways(year_month_day date) {
    const auto month = static_cast<std::int16_t>(unsigned{date.month()});
    const auto day = static_cast<std::int16_t>(unsigned{date.day()});
    const auto year_number = static_cast<std::int16_t>(int{date.year()});
    ASSERT_EQ(julian(month, day, year_number), day_count(date));
    ASSERT_EQ(date_of(day_count(date)), Date(month, day, year_number));
}

TEST(DayCounts, EveryDayOfTheCalendar) {
    for (sys_days day = year{1582} / 10 / 15; day < sys_days{year{3000} / 1 / 1}; day += days{1})
        ASSERT_NO_FATAL_FAILURE(expect_both_ways(day));
    for (sys_days day = year{3000} / 1 / 1; day < sys_days{year{32767} / 1 / 1}; day += days{13})
        ASSERT_NO_FATAL_FAILURE(expect_both_ways(day));
}

TEST(DayCounts, Anchors) {
    EXPECT_EQ(julian(1, 1, 1960), 21915);
    EXPECT_EQ(julian(10, 15, 1582), -115859);
    EXPECT_EQ(julian(10, 4, 1582), -115860);
    // Before the reform: the Julian 1 January 1500 is the Gregorian 10 January.
    const std::int64_t julian_new_year = day_count(year{1500} / 1 / 10);
    EXPECT_EQ(julian(1, 1, 1500), julian_new_year);
    EXPECT_EQ(date_of(julian_new_year), Date(1, 1, 1500));
}

constexpr double UNTOUCHED = 12345.5; // what a reader finds in the place of its number

struct ReaderCase {
    const char *text;
    std::int32_t result;
    double minutes;
    std::int16_t field_length = 0; // 0: that of the text
    std::int16_t column = 0;
    std::int16_t line_length = 200;
    std::int16_t day_first = 0;
};

template <class Reader>
void expect_readings(std::initializer_list<ReaderCase> cases, Reader read) {
    for (ReaderCase c : cases) {
        SCOPED_TRACE(c.text);
        // A buffer of exactly the field's bytes, so that a reader that goes too far is caught.
        const std::string text(c.text);
        const std::vector<char> field(text.begin(), text.end());
        if (c.field_length == 0)
            c.field_length = static_cast<std::int16_t>(text.size());
        double value = UNTOUCHED;
        EXPECT_EQ(read(field.data(), &value, c), c.result);
        EXPECT_EQ(value, c.minutes);
    }
}

TEST(DateText, NamedMonths) {
    const year_month_day january = year{1998} / 1 / 15;
    expect_readings(
        {
            {"  15jan98 ", 10, minutes_of(january)},
            {"15JAN1998:10.30", 15, minutes_of(january, 630)},
            {"15JAN1998:23", 12, minutes_of(january, 23 * 60)},
            {"01JAN100", 8, minutes_of(year{99} / 12 / 30)}, // a Julian date
            {"29FEB1900", -9, UNTOUCHED},
            {"15JAX1998", -9, UNTOUCHED},
            {"15JAN1998:10.60", -15, UNTOUCHED},
            {".", 1, MISSING_SENTINEL},
            {"   ", 3, MISSING_SENTINEL},
            {"15JANU1998", -6, MISSING_SENTINEL},
            {"15/JAN", -3, MISSING_SENTINEL},
            {"15JAN1998 x", -11, MISSING_SENTINEL},
            {"15JAN", -5, MISSING_SENTINEL},
            {"15JAN99999", -10, MISSING_SENTINEL},
            {".5", -2, MISSING_SENTINEL},
            // The field or the line ends within the text.
            {"15JAN1998", 7, minutes_of(year{1919} / 1 / 15), 7},
            {"15JAN1998", 9, minutes_of(january), 50, 100, 109},
            {"15JAN1998", 0, MISSING_SENTINEL, 9, 100, 100},
            // Width 20, or written in the hundreds: the first blank ends the value.
            {"15JAN1998 rest", 10, minutes_of(january), 20, 0, 14},
            {"15JAN1998 rest", 10, minutes_of(january), 2003, 0, 14},
            {"15JAN1998 rest", -11, MISSING_SENTINEL, 1403},
        },
        [](const char *text, double *value, const ReaderCase &c) {
            return atofdate(text, value, c.field_length, c.column, c.line_length);
        });
}

} // namespace
