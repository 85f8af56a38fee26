// Text comparison, and numbers read from and printed into fields.
#include "driver_records.h"
#include "imglue_number_text.h"
#include "imglue_text.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Comparison, IgnoresCaseAndTrailingWhiteSpace) {
    const std::string longest(COMPARED_POSITIONS, 'x');
    const struct {
        std::string first, second;
        std::int32_t expected;
    } cases[] = {
        {"AZ@[", "az@[", 0},
        {"DATE  ", "date", 0},
        {"date", "DATE\t\r\n", 0},
        {"DATE", "DATETIME", -1},
        {"DATETIME", "date", 1},
        {"a b", "a\tb", 0},
        {"a  b", "a b", -1},
        {"", " ", 0},
        {"", "a", -1},
        {"b", "A", 1},
        {"_", "a", -1},
        {"\xC4", "\xE4", -1},
        {"\xE4", "z", 1},
        {longest + "a", longest + "b", 0},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(comp2inull(c.first.c_str(), c.second.c_str()), c.expected) << c.first << "|" << c.second;
        EXPECT_EQ(comp2inull(c.second.c_str(), c.first.c_str()), -c.expected) << c.first << "|" << c.second;
    }
}

TEST(Comparison, OfBytes) {
    EXPECT_EQ(mivex_memicmp("aBc\0d", "AbC\0E", 5), -1);
    EXPECT_EQ(mivex_memicmp("aBc\0d", "AbC\0E", 4), 0);
    EXPECT_EQ(mivex_memicmp(" ", "\t", 1), 1);
    EXPECT_EQ(mivex_memicmp("a", "b", 0), 0);
}

class NumberText : public testing::Test {
  protected:
    NumberText() { init_multsqq(); }
};

TEST_F(NumberText, PowersOfTen) {
    EXPECT_EQ(multsqq[0], 1.0);
    EXPECT_EQ(multsqq[22], 1e22);
    EXPECT_NEAR(multsqq[308] / 1e308, 1.0, 1e-13);
    EXPECT_EQ(multsqq[309], 0.0);
}

TEST_F(NumberText, Reading) {
    const struct {
        std::string text;
        std::int32_t result;
        double value;
        std::int16_t field_length = 0; // 0: that of the text
        std::int16_t column = 0;
        std::int16_t line_length = 500;
    } cases[] = {
        {"0", 1, 0.0},
        {"123.456", 7, 123.456},
        {"  -.5  ", 7, -0.5},
        {"+1,234,567.25", 13, 1234567.25},
        {"$12.5", 5, 12.5},
        {"-$12.5", 6, -12.5},
        {"$-12.5", 6, -12.5},
        {"3.25E+2", 7, 325.0},
        {"1e-3", 4, 0.001},
        {"000000000000000000000000000001", 30, 1.0},
        {"0.000000000000000000000000000001", 32, 1e-30},
        {"12345678901234567890123", 23, 12345678901234567890123.0},
        {"4.9e-324", 8, 4.9e-324},
        {"1e-400", 6, 0.0},
        {"0e99999999999", 13, 0.0},
        {"1.7e308", 7, 1.7e308},
        {"1e309", -5, MISSING_SENTINEL},
        {"1e99999999999", -13, MISSING_SENTINEL},
        {"", 0, MISSING_SENTINEL},
        {"  ", 2, MISSING_SENTINEL},
        {".", 1, MISSING_SENTINEL},
        {"-", 1, MISSING_SENTINEL},
        {"12x", -3, MISSING_SENTINEL},
        {"1 2", -3, MISSING_SENTINEL},
        {"1.2.3", -4, MISSING_SENTINEL},
        {"12$", -3, MISSING_SENTINEL},
        {"1.5,0", -4, MISSING_SENTINEL},
        {",5", -1, MISSING_SENTINEL},
        {"1E", -2, MISSING_SENTINEL},
        {"E5", -1, MISSING_SENTINEL},
        {"--1", -2, MISSING_SENTINEL},
        {"12345", 3, 123.0, 3},
        {"12345", 2, 12.0, 5, 498},
        {"7 rest", 2, 7.0, 2000, 494},
        {"7 rest", -3, MISSING_SENTINEL, 600},
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

// A field of f characters with a guard behind its terminating zero.
class Field {
  public:
    explicit Field(std::int32_t f) : bytes_(static_cast<std::size_t>(f < 0 ? 0 : f) + 2, '#') {}
    char *text() { return bytes_.data(); }
    bool guarded() const { return bytes_.back() == '#'; }
    std::string shown() const { return bytes_.c_str(); }

  private:
    std::string bytes_;
};

TEST_F(NumberText, FixedForm) {
    const struct {
        std::int32_t width, decimals;
        double value;
        const char *expected; // null: does not fit
        bool comma = false, dollar = false, best = false;
    } cases[] = {
        {8, 2, 3.14159, "    3.14"},
        {8, 0, 2.5, "       3"},
        {8, 0, -2.5, "      -3"},
        {6, 2, -0.001, "  0.00"},
        {6, 2, -0.005, " -0.01"},
        {5, 1, 99.95, "100.0"},
        {4, 1, 99.95, nullptr},
        {4, 1, -10.0, nullptr},
        {12, 2, 1234567.891, "1,234,567.89", true},
        {11, 2, 1234567.891, nullptr, true},
        {9, 0, 123456.0, "  123,456", true},
        {10, 2, -1234.5, "-$1,234.50", true, true},
        {9, 2, -1234.5, nullptr, true, true},
        {8, 6, 0.25, "    0.25", false, false, true},
        {8, 3, 7.0, "       7", false, false, true},
        {12, 12, 0.123456789, " 0.123456789"},
        {19, 0, 123456789012345678.0, " 123456789012345680"},
        {30, 0, 1e18, nullptr},
        {9, 2, std::nan(""), nullptr},
        {9, 2, -HUGE_VAL, nullptr},
        {0, 0, 1.0, nullptr},
        {-1, 0, 1.0, nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.expected == nullptr ? "does not fit" : c.expected);
        Field field(c.width);
        const std::int32_t result = print1f(c.width, c.decimals, c.value, field.text(), c.comma, c.dollar, c.best);
        EXPECT_EQ(result, c.expected == nullptr ? -1 : 0);
        EXPECT_TRUE(field.guarded());
        if (c.expected != nullptr) {
            EXPECT_EQ(field.shown(), c.expected);
        }
    }
}

TEST_F(NumberText, ExponentialForm) {
    const struct {
        std::int32_t width;
        double value;
        std::int32_t best;
        const char *expected; // null: does not fit
    } cases[] = {
        {12, 12345.678, 0, " 1.2346e+004"},
        {12, -12345.678, 0, "-1.2346e+004"},
        {12, 1.5e-7, 0, " 1.5000e-007"},
        {12, 9.99999e9, 0, " 1.0000e+010"},
        {8, 4.6e300, 0, " 5.e+300"},
        {12, 0.0, 0, " 0.0000e+000"},
        {12, 0.0, 1, "     0.e+000"},
        {7, 0.0, 1, "0.e+000"},
        {12, 2e20, 1, "     2.e+020"},
        {12, -1.25e-300, 1, "  -1.25e-300"},
        {25, 1.0, 0, " 1.00000000000000000e+000"},
        {16, 1e23, 0, " 1.00000000e+023"},
        {16, DBL_MAX, 0, " 1.79769313e+308"},
        {16, 4.9406564584124654e-324, 0, " 4.94065646e-324"},
        {7, 5.0, 0, nullptr},
        {7, 5.0, 1, nullptr},
        {7, 0.0, 0, nullptr},
        {12, HUGE_VAL, 0, nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.expected == nullptr ? "does not fit" : c.expected);
        Field field(c.width);
        EXPECT_EQ(printe(c.value, c.width, field.text(), c.best), c.expected == nullptr ? -1 : 0);
        EXPECT_EQ(field.shown(),
                  c.expected == nullptr ? std::string(static_cast<std::size_t>(c.width), ' ') : c.expected);
        EXPECT_TRUE(field.guarded());
    }
}

TEST_F(NumberText, BestForm) {
    const struct {
        std::int32_t width;
        double value;
        const char *expected;
        std::int32_t result = 0;
    } cases[] = {
        {8, MISSING_SENTINEL, "       ."},
        {8, RANGE_LOW, "     low"},
        {8, RANGE_HIGH, "    high"},
        {4, RANGE_HIGH, "high"},
        {3, RANGE_HIGH, "  *", 1},
        {5, 12345.4, "12345"},
        {5, -12345.0, "    *", 1},
        {12, 0.1, "         0.1"},
        {12, -123.456, "    -123.456"},
        {12, 100000.0, "      100000"},
        {12, 12345.678, "   12345.678"},
        {12, -12345.678, "   -12345.68"},
        {12, 0.001, "       0.001"},
        {12, 1e15, "     1.e+015"},
        {12, 1.5e-9, "    1.5e-009"},
        {7, 5.0, "      5"},
        {7, 100000.0, " 100000"},
        {7, 0.0, "0.e+000"},
        {40, 1e18, "                                 1.e+018"},
        {9, std::nan(""), "        *", 1},
        {1, 12.0, "*", 1},
        {0, 1.0, "", 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.expected);
        Field field(c.width);
        EXPECT_EQ(printb(c.width, c.value, field.text()), c.result);
        EXPECT_EQ(field.shown(), c.expected);
        EXPECT_TRUE(field.guarded());
    }
    Field field(6);
    printc(6, 2, 12345.678, field.text());
    EXPECT_EQ(field.shown(), " 12346");
    printc(6, 2, 12.345, field.text());
    EXPECT_EQ(field.shown(), " 12.35");
}

// Whatever the width and the number, the field is full, ended and not left; what is shown is the number.
TEST_F(NumberText, BestFormKeepsToItsField) {
    for (std::int32_t width = 0; width <= 40; ++width) {
        for (int exponent = -330; exponent <= 310; ++exponent) {
            for (double digits : {1.25, -1.25, 9.999999999, -5.55555}) {
                const double value = digits * std::pow(10.0, exponent);
                SCOPED_TRACE(testing::Message() << value << " in " << width);
                Field field(width);
                const std::int32_t result = printb(width, value, field.text());
                ASSERT_TRUE(field.guarded());
                ASSERT_EQ(field.shown().size(), static_cast<std::size_t>(width));
                if (result == 0 && width > 14) {
                    // The fixed form has nine decimals.
                    const bool fixed = field.shown().find('e') == std::string::npos;
                    const double tolerance = std::fabs(value) * 1e-5 + (fixed ? 0.51e-9 : 0);
                    ASSERT_NEAR(std::strtod(field.text(), nullptr), value, tolerance);
                }
            }
        }
    }
}

} // namespace
