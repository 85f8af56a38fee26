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

// A justified field with the length and the start of its text.
std::tuple<std::string, std::int32_t, std::int32_t> justified(std::string field, char type) {
    std::int32_t length = -1;
    std::int32_t start = -1;
    wzstjls(field.data(), length_of(field), type, &length, &start);
    wzstjls(field.data(), length_of(field), 'x', nullptr, nullptr); // neither is wanted
    return {field, length, start};
}

TEST(FieldStrings, Justification) {
    EXPECT_EQ(justified("   ab ", 'l'), std::tuple("ab    ", 2, 0));
    EXPECT_EQ(justified("a b   ", 'R'), std::tuple("   a b", 3, 3));
    EXPECT_EQ(justified("ab   ", 'C'), std::tuple(" ab  ", 2, 1));
    EXPECT_EQ(justified("  ab  ", 'x'), std::tuple("  ab  ", 2, 2));
}

TEST(FieldStrings, Deletion) {
    std::string field = "a-b-c";
    EXPECT_EQ(wzstdel(field.data(), 5, "-", 1), 3);
    EXPECT_EQ(field, "abc  ");
    std::string terminated = "x\xE4y\xE4";
    EXPECT_EQ(wzstdel(terminated.data(), -1, "\xE4", -1), 2);
    EXPECT_EQ(terminated, "xy\0\0"s);
}

TEST(FieldStrings, Comparison) {
    EXPECT_EQ(wzstcom("ab", 2, "ab   ", 5), 0);
    EXPECT_EQ(wzstcom("ab", 2, "ac", 2), -2);
    EXPECT_EQ(wzstcom("ab", 2, "ab\t", 3), 3);
    EXPECT_EQ(wzstcom(nullptr, 4, "   ", 3), 0);
}

TEST(FieldStrings, FirstOption) {
    EXPECT_EQ(wzstopt("xyRL", 4, "LR", 2, 'd'), 'R');
    EXPECT_EQ(wzstopt("xyRL", 2, "LR", 2, 'd'), 'd');
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

// Character-aware copies leave a mark of which one ran; letter case by letters of two bytes.
TEST(HostTables, TranslationAndFolding) {
    vor::test::ModuleHost host;
    host.replace(wzsxcch, [](SERVICE_ID, const char *, char *target, std::int32_t) { return target[0] = 'c', 7; });
    host.replace(wzsxrch, [](SERVICE_ID, const char *, char *target, std::int32_t) { return target[0] = 'r', 8; });
    std::uint8_t next[256];
    for (int byte = 0; byte < 256; ++byte)
        next[byte] = static_cast<std::uint8_t>(byte + 1);
    host->control_block()->translation_tables[0] = host->control_block()->translation_tables[4] = next;
    const struct {
        std::int32_t multibyte, function, result;
        std::string expected;
    } cases[] = {
        {0, 0, 0, "bC\xC4\xAA\xC4\x8A"},
        {0, 2, 0, "AB\xC3\xA9\xC3\x89"},
        {0, 3, 0, "ab\xC3\xA9\xC3\x89"},
        {1, 0, 7, "c#####"},
        {1, 1, 8, "r#####"},
        {1, 2, 0, "AB\xC3\x89\xC3\x89"},
        {1, 3, 0, "ab\xC3\xA9\xC3\xA9"},
        {1, 4, 0, "bC\xC4\xAA\xC4\x8A"},
        {0, 5, TRANSLATE_BAD_FUNCTION, "######"},
        {1, -1, TRANSLATE_BAD_FUNCTION, "######"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.multibyte) + "/" + std::to_string(c.function));
        host->control_block()->multibyte_session = c.multibyte;
        std::string target = "######";
        EXPECT_EQ(wztxxlt(c.function, "aB\xC3\xA9\xC3\x89", target.data(), 6), c.result);
        EXPECT_EQ(target, c.expected);
        EXPECT_EQ(wztxxlt(2, "aB", nullptr, 0), 0);
    }
    EXPECT_EQ(wzbcup("aBc", "AbC", 3), 0);
    EXPECT_EQ(wzbcup("a\x01", "a\xFF", 2), -254);
}

} // namespace
