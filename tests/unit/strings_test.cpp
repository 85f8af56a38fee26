// The string routines: fields, terminated strings, numbers in fields, missing values, translation.
#include "module_host.h"
#include "wzmis.h"
#include "wzst.h"
#include "wztxxlt.h"

#include <array>
#include <bit>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace std::string_literals;

std::int32_t length_of(const std::string &text) {
    return static_cast<std::int32_t>(text.size());
}

// The lengths of a field without its trailing blanks, and without its trailing white space.
std::pair<std::int32_t, std::int32_t> ends(const std::string &field) {
    return {wzstrip(field.data(), length_of(field)), mivex_strnlen(field.data(), length_of(field))};
}

TEST(FieldStrings, EndsOfFields) {
    EXPECT_EQ(ends("        "), std::pair(0, 0));
    EXPECT_EQ(ends("ab \t\r\n "), std::pair(6, 2));
    EXPECT_EQ(ends("ab\0  "s), std::pair(3, 3));
    EXPECT_EQ(ends(std::string(17, ' ')), std::pair(0, 0)); // from here on whole words
    EXPECT_EQ(ends("x" + std::string(30, ' ') + "\t" + std::string(20, ' ')), std::pair(32, 1));
    EXPECT_EQ(wzstrip("ab", -3), -3);
    EXPECT_EQ(wzstlen(nullptr), 0);
}

// What a routine makes of a buffer of as many bytes as it is told of, with its result where it has one.
std::string blanked(std::string buffer) {
    blank(buffer.data(), length_of(buffer) - 1);
    return buffer;
}
std::string copied(const char *from, std::int32_t length) {
    std::string slot = "######";
    EXPECT_EQ(mivex_strncpy(slot.data(), from, length), slot.data());
    return slot;
}
std::string moved(const std::string &from, std::int32_t length) {
    std::string target = "######";
    vzmp(from.data(), length_of(from), target.data(), length);
    return target;
}

TEST(Buffers, BlankCutAndCopy) {
    EXPECT_EQ(blanked("ab\0cdef"s), "ab    f");
    EXPECT_EQ(blanked("\xC3\xA4\x1B\x1A!#"), "\xC3\xA4\x1B  #");
    std::string cut = "ab\tcd";
    EXPECT_EQ(zeroit(cut.data(), 2), 2);
    EXPECT_EQ(cut, "ab\tcd") << "no white space within";
    EXPECT_EQ(zeroit(cut.data(), 5), 2);
    EXPECT_EQ(cut, "ab\0cd"s);
    EXPECT_EQ(copied("abcdef", 4), "abc\0##"s);
    EXPECT_EQ(copied("z", 6), "z\0####"s);
    EXPECT_EQ(copied("abcdef", 0), "######");
    EXPECT_EQ(moved("0123456789", 4), "0123##");
    EXPECT_EQ(moved("ab", 4), "ab  ##");
}

// A number in a field of that width, with the result.
std::pair<std::string, std::int32_t> number_in(std::size_t width, std::int64_t number) {
    std::string field(width + 1, '#');
    const std::int32_t result = wzclchr(number, field.data(), static_cast<std::int32_t>(width));
    return {field, result};
}

TEST(Buffers, WholeNumbers) {
    EXPECT_EQ(number_in(3, 0), std::pair("  0#"s, 0));
    EXPECT_EQ(number_in(3, 1234), std::pair("***#"s, NUMBER_DOES_NOT_FIT));
    EXPECT_EQ(number_in(3, -123), std::pair("***#"s, NUMBER_DOES_NOT_FIT));
    EXPECT_EQ(number_in(21, std::numeric_limits<std::int64_t>::min()), std::pair(" -9223372036854775808#"s, 0));
}

TEST(MissingValues, Kinds) {
    const std::pair<std::uint64_t, std::int32_t> kinds[] = {
        {0xFFFFFF0000000000, '_'}, {0xFFFFFE0000000000, '.'}, {0xFFFFFD0000000000, 'A'}, {0xFFFFE40000000000, 'Z'},
        {0xFFFFE30000000000, '.'}, {0xFFFE000000000000, 0},   {0x7FFF000000000000, 0},
    };
    for (const auto &[bits, kind] : kinds) {
        const auto value = std::bit_cast<double>(bits);
        EXPECT_EQ(wzmism(value), kind) << bits;
        EXPECT_EQ(wzmis(value), kind != 0 ? 1 : 0) << bits;
        // A shortened value keeps the high bytes, which stand last.
        const auto bytes = std::bit_cast<std::array<char, 8>>(bits);
        EXPECT_EQ(wzmisl(bytes.data() + 5, 3), kind != 0 ? 1 : 0) << bits;
    }
    EXPECT_EQ(wzmisl("\xFF", 1), 0);
}

} // namespace
