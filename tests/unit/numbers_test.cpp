// Numbers in their other forms: of either byte order and of other machines, printed into fields, and as days of the
// calendar, which the standard library knows too.
#include "driver_records.h"
#include "imglue_dates.h"
#include "imglue_number_text.h"
#include "imswap.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Bytes = std::basic_string<unsigned char>;

Bytes bytes(std::initializer_list<int> list) {
    Bytes made;
    for (int byte : list)
        made.push_back(static_cast<unsigned char>(byte));
    return made;
}

TEST(ByteOrder, EveryRoutineReversesItsWidth) {
    const struct {
        std::size_t width;
        std::initializer_list<void (*)(void *)> routines;
    } rows[] = {
        {2, {from_sun_short, to_sun_short, from_mac_short, to_mac_short, from_vax_short}},
        {4,
         {from_sun_long, to_sun_long, from_sun_float, to_sun_float, from_mac_long, to_mac_long, from_mac_float,
          to_mac_float, from_vax_long}},
        {8, {from_sun_double, to_sun_double, from_sun_long8, to_sun_long8, from_mac_double64, to_mac_double64}},
        {10, {from_mac_double80}},
    };
    for (const auto &[width, routines] : rows) {
        for (const auto routine : routines) {
            // One byte in front, so that the value is not aligned, and one behind.
            Bytes buffer = bytes({0xEE, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xEE});
            Bytes expected = buffer;
            std::reverse(expected.begin() + 1, expected.begin() + 1 + static_cast<std::ptrdiff_t>(width));
            routine(buffer.data() + 1);
            EXPECT_EQ(buffer, expected) << width;
        }
    }
}

} // namespace

namespace {

class NumberText : public testing::Test {
  protected:
    NumberText() { init_multsqq(); }
};

// What a routine leaves in a field of that width, which has a guard behind its terminating zero; in front of it the
// result when it is not 0.
template <class Routine>
std::string printed(std::int32_t width, Routine routine) {
    std::string field(static_cast<std::size_t>(std::max(width, 0)) + 2, '#');
    const std::int32_t result = routine(field.data());
    EXPECT_EQ(field.back(), '#') << "written past the field";
    return (result == 0 ? "" : std::to_string(result)) + field.c_str();
}

TEST_F(NumberText, BestForm) {
    const struct {
        std::int32_t width;
        double value;
        const char *expected; // behind "1" where the number does not fit
    } cases[] = {
        {8, MISSING_SENTINEL, "       ."}, {4, RANGE_HIGH, "high"},
        {3, RANGE_HIGH, "1  *"},           {5, 12345.4, "12345"},
        {5, -12345.0, "1    *"},           {12, -12345.678, "   -12345.68"},
        {12, 0.001, "       0.001"},       {12, 5e9, "     5.e+009"},
        {12, 1.5e-9, "    1.5e-009"},      {0, 1.0, "1"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(printed(c.width, [&](char *text) { return printb(c.width, c.value, text); }), c.expected);
    for (const auto &[value, expected] : {std::pair{12345.678, " 12346"}, {12.345, " 12.35"}})
        EXPECT_EQ(printed(6, [value = value](char *text) { return printc(6, 2, value, text), 0; }), expected);
}

// Whatever the width and the number, the field is full, ended and not left.
TEST_F(NumberText, BestFormKeepsToItsField) {
    for (std::int32_t width = 0; width <= 40; ++width)
        for (int exponent = -330; exponent <= 310; ++exponent)
            for (const double digits : {1.25, -9.999999999}) {
                const double value = digits * std::pow(10.0, exponent);
                const auto best = [&](char *text) { return printb(width, value, text), 0; };
                ASSERT_EQ(std::ssize(printed(width, best)), width) << value;
            }
}

} // namespace

namespace {

using namespace std::chrono;

std::int64_t day_count(year_month_day date) {
    return (sys_days{date} - sys_days{year{1899} / 12 / 31}).count();
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

} // namespace
