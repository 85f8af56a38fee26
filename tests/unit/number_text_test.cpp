// Text comparison, and numbers read from and printed into fields.
#include "driver_records.h"
#include "imglue_number_text.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

class NumberText : public testing::Test {
  protected:
    NumberText() { init_multsqq(); }
};

TEST_F(NumberText, Reading) {
    const struct {
        std::string text;
        std::int32_t result;
        double value;
        std::int16_t field_length = 0; // 0: that of the text
        std::int16_t column = 0;
        std::int16_t line_length = 500;
    } cases[] = {
        {"  -.5  ", 7, -0.5},
        {"+1,234,567.25", 13, 1234567.25},
        {"-$12.5", 6, -12.5},
        {"3.25E+2", 7, 325.0},
        {"0.12345678901234567890123", 25, 0.12345678901234567890123},
        {"4.9e-324", 8, 4.9e-324},
        {"1e-400", 6, 0.0},
        {"1e309", -5, MISSING_SENTINEL},
        {"", 0, MISSING_SENTINEL},
        {".", 1, MISSING_SENTINEL},
        {"1.2.3", -4, MISSING_SENTINEL},
        {"1E", -2, MISSING_SENTINEL},
        // The field or the line ends within the text; widths written in the hundreds, of which 20 is free form.
        {"12345", 3, 123.0, 3},
        {"12345", 2, 12.0, 5, 498},
        {"7 rest", 2, 7.0, 2000, 494},
        {"7 rest", -3, MISSING_SENTINEL, 20, 494},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        const std::vector<char> field(c.text.begin(), c.text.end());
        const auto length = static_cast<std::int16_t>(c.text.size());
        double value = 7;
        EXPECT_EQ(atodf1(field.data(), &value, c.field_length == 0 ? length : c.field_length, c.column, c.line_length),
                  c.result);
        EXPECT_DOUBLE_EQ(value, c.value);
    }
}

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
