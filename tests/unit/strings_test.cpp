// The string routines: fields, terminated strings, numbers in fields, missing values, translation.
#include "hcstrings.h"
#include "module_host.h"
#include "wzclchr.h"
#include "wzmis.h"
#include "wzst.h"
#include "wztxxlt.h"

#include <bit>
#include <gtest/gtest.h>
#include <limits>

namespace {

std::int32_t length_of(const std::string &text) {
    return static_cast<std::int32_t>(text.size());
}

TEST(FieldStrings, EndsOfFields) {
    const struct {
        std::string field;
        std::int32_t stripped, without_white_space;
    } cases[] = {
        {"", 0, 0},
        {"        ", 0, 0},
        {"ab  ", 2, 2},
        {"a b", 3, 3},
        {"ab \t\r\n ", 6, 2},
        {"\t", 1, 0},
        {std::string("ab\0  ", 5), 3, 3},
        {std::string(17, ' '), 0, 0},
        {"a" + std::string(16, ' '), 1, 1},
        {std::string(9, 'x') + std::string(24, ' '), 9, 9},
        {std::string(40, 'x') + " ", 40, 40},
        {"x" + std::string(30, ' ') + "\t" + std::string(20, ' '), 32, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.field);
        EXPECT_EQ(wzstrip(c.field.data(), length_of(c.field)), c.stripped);
        EXPECT_EQ(mivex_strnlen(c.field.data(), length_of(c.field)), c.without_white_space);
    }
    EXPECT_EQ(wzstrip("ab", -3), -3);
    EXPECT_EQ(mivex_strnlen("ab", -3), 0);
    EXPECT_EQ(wzstlen(nullptr), 0);
    EXPECT_EQ(wzstlen("abc"), 3);
}

TEST(FieldStrings, Justification) {
    const struct {
        std::string field;
        char type;
        std::string moved;
        std::int32_t length, start;
    } cases[] = {
        {"   ab ", 'l', "ab    ", 2, 0}, {"   ab ", 'L', "ab    ", 2, 0}, {"a b   ", 'r', "   a b", 3, 3},
        {"ab   ", 'C', " ab  ", 2, 1},   {"abcd ", 'c', "abcd ", 4, 0},   {"  ab  ", 'x', "  ab  ", 2, 2},
        {"    ", 'R', "    ", 0, 0},     {"abcd", 'R', "abcd", 4, 0},     {"", 'C', "", 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.field + c.type);
        std::string field = c.field + "##########";
        std::int32_t length = -1;
        std::int32_t start = -1;
        wzstjls(field.data(), length_of(c.field), c.type, &length, &start);
        EXPECT_EQ(field, c.moved + "##########");
        EXPECT_EQ(length, c.length);
        EXPECT_EQ(start, c.start);
        std::string again = c.field;
        wzstjls(again.data(), length_of(again), c.type, nullptr, nullptr);
        EXPECT_EQ(again, c.moved);
    }
}

TEST(FieldStrings, Deletion) {
    std::string field = "a-b-c";
    EXPECT_EQ(wzstdel(field.data(), 5, "-", 1), 3);
    EXPECT_EQ(field, "abc  ");
    EXPECT_EQ(wzstdel(field.data(), 5, "", 0), 5);
    EXPECT_EQ(wzstdel(field.data(), 0, "a", 1), 0);
    EXPECT_EQ(field, "abc  ");

    char terminated[] = "x\xE4y\xE4";
    EXPECT_EQ(wzstdel(terminated, -1, "\xE4", -1), 2);
    EXPECT_STREQ(terminated, "xy");
}

TEST(FieldStrings, Comparison) {
    const struct {
        const char *first;
        std::int32_t first_length;
        const char *second;
        std::int32_t second_length, expected;
    } cases[] = {
        {"ab", 2, "ab   ", 5, 0},  {"ab", 2, "ac", 2, -2},   {"ac", 2, "ab", 2, 2},
        {"ab", 2, "ab\t", 3, 3},   {"ab", 2, "abc", 3, -3},  {"\xFF", 1, "a", 1, 1},
        {nullptr, 4, "   ", 3, 0}, {nullptr, 0, "a", 1, -1}, {"", 0, nullptr, 0, 0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(wzstcom(c.first, c.first_length, c.second, c.second_length), c.expected) << c.expected;
}

TEST(FieldStrings, FirstOption) {
    EXPECT_EQ(wzstopt("xyRL", 4, "LR", 2, 'd'), 'R');
    EXPECT_EQ(wzstopt("xyRL", 2, "LR", 2, 'd'), 'd');
    EXPECT_EQ(wzstopt("xyRL", 4, "LR", 0, 'd'), 'd');
    EXPECT_EQ(wzstopt(nullptr, 4, "LR", 2, 'd'), 'd');
    EXPECT_EQ(wzstopt("L", 1, nullptr, 2, 'd'), 'd');
}

TEST(FieldStrings, PaddedMove) {
    const struct {
        std::string from;
        std::int32_t to_length;
        std::string expected;
    } cases[] = {{"0123456789", 4, "0123"}, {"ab", 4, "ab  "}, {"", 3, "   "}, {"ab", 0, ""}, {"ab", -1, ""}};
    for (const auto &c : cases) {
        std::string target(c.expected.size() + 1, '#');
        vzmp(c.from.data(), length_of(c.from), target.data(), c.to_length);
        EXPECT_EQ(target, c.expected + "#");
    }
    std::string overlapping = "abcdef";
    vzmp(overlapping.data(), 4, overlapping.data() + 2, 4);
    EXPECT_EQ(overlapping, "ababcd");
}

TEST(TerminatedStrings, BlankCutAndCopy) {
    std::string field("ab\0cdef", 7);
    blank(field.data(), 6);
    EXPECT_EQ(field, "ab    f");
    std::string high = "\xC3\xA4\x1A!";
    blank(high.data(), 4);
    EXPECT_EQ(high, "\xC3\xA4  ");
    std::string full = "abcd";
    blank(full.data(), 4);
    EXPECT_EQ(full, "abcd");

    std::string cut = "ab\tcd";
    EXPECT_EQ(zeroit(cut.data(), 5), 2);
    EXPECT_EQ(cut, std::string("ab\0cd", 5));
    EXPECT_EQ(zeroit(full.data(), 4), 4);
    EXPECT_EQ(full, "abcd");
    std::string leading = "\nab";
    EXPECT_EQ(zeroit(leading.data(), 3), 0);
    std::string beyond = "ab cd";
    EXPECT_EQ(zeroit(beyond.data(), 2), 2);
    EXPECT_EQ(beyond, "ab cd");

    std::string slot = "######";
    EXPECT_EQ(mivex_strncpy(slot.data(), "abcdef", 4), slot.data());
    EXPECT_EQ(slot, std::string("abc\0##", 6));
    mivex_strncpy(slot.data(), "z", 6);
    EXPECT_EQ(slot, std::string("z\0c\0##", 6));
    mivex_strncpy(slot.data(), "abcdef", 0);
    EXPECT_EQ(slot[0], 'z');
    mivex_strncpy(slot.data(), "abcdef", 1);
    EXPECT_EQ(slot[0], '\0');
}

TEST(NumbersInFields, WholeNumbers) {
    const struct {
        std::int64_t number;
        std::string expected;
        std::int32_t result;
    } cases[] = {
        {-5, " -5", 0},
        {0, "  0", 0},
        {123, "123", 0},
        {12345, "***", NUMBER_DOES_NOT_FIT},
        {-123, "***", NUMBER_DOES_NOT_FIT},
        {12, "*", NUMBER_DOES_NOT_FIT},
        {0, "", NUMBER_DOES_NOT_FIT},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808", 0},
        {std::numeric_limits<std::int64_t>::max(), " 9223372036854775807", 0},
    };
    for (const auto &c : cases) {
        std::string field(c.expected.size() + 1, '#');
        EXPECT_EQ(wzclchr(c.number, field.data(), length_of(c.expected)), c.result);
        EXPECT_EQ(field, c.expected + "#");
    }
    EXPECT_EQ(static_cast<std::uint32_t>(NUMBER_DOES_NOT_FIT), 0x8000200dU);
}

TEST(MissingValues, Kinds) {
    const struct {
        std::uint64_t bits;
        std::int32_t missing, kind;
    } cases[] = {
        {0xFFFFFF0000000000, 1, '_'}, {0xFFFFFE0000000000, 1, '.'},
        {0xFFFFFD0000000000, 1, 'A'}, {0xFFFFE40000000000, 1, 'Z'},
        {0xFFFF000000000000, 1, '.'}, {0xFFFFE30000000000, 1, '.'},
        {0xFFFE000000000000, 0, 0},   {0x7FF0000000000000, 0, 0},
        {0x3FF0000000000000, 0, 0},   {0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.bits);
        const double value = std::bit_cast<double>(c.bits);
        EXPECT_EQ(wzmis(value), c.missing);
        EXPECT_EQ(wzmism(value), c.kind);
        // A shortened value keeps the high bytes, which stand last.
        const auto bytes = std::bit_cast<std::array<char, 8>>(c.bits);
        EXPECT_EQ(wzmisl(bytes.data(), 8), c.missing);
        EXPECT_EQ(wzmisl(bytes.data() + 5, 3), c.missing);
    }
    EXPECT_EQ(wzmisl("\xFF", 1), 0);
}

// Character-aware services that leave a mark of which one ran.
std::int32_t to_host(SERVICE_ID, const char *, char *target, std::int32_t) {
    target[0] = 'c';
    return 7;
}
std::int32_t from_host(SERVICE_ID, const char *, char *target, std::int32_t) {
    target[0] = 'r';
    return 8;
}
void upper(SERVICE_ID, char *text, std::int32_t) {
    text[0] = 'U';
}
void lower(SERVICE_ID, char *text, std::int32_t) {
    text[0] = 'L';
}

TEST(HostTables, TranslationAndFolding) {
    vor::test::ModuleHost host;
    host.replace_service(4, 7, reinterpret_cast<SERVICE_ROUTINE>(&to_host));
    host.replace_service(4, 39, reinterpret_cast<SERVICE_ROUTINE>(&from_host));
    host.replace_service(0, 331, reinterpret_cast<SERVICE_ROUTINE>(&upper));
    host.replace_service(0, 330, reinterpret_cast<SERVICE_ROUTINE>(&lower));
    std::uint8_t tables[3][256];
    for (int byte = 0; byte < 256; ++byte) {
        tables[0][byte] = static_cast<std::uint8_t>(byte + 1);
        tables[1][byte] = static_cast<std::uint8_t>(byte - 1);
        tables[2][byte] = static_cast<std::uint8_t>(255 - byte);
    }
    for (const auto &[function, table] : {std::pair{0, 0}, {1, 1}, {4, 2}})
        host->control_block()->translation_tables[function] = tables[table];
    const struct {
        std::int32_t multibyte, function, result;
        std::string expected;
    } cases[] = {
        {0, 0, 0, "bC\xE5"},
        {0, 1, 0, "`A\xE3"},
        {0, 2, 0, "AB\xE4"},
        {0, 3, 0, "ab\xE4"},
        {0, 4, 0, "\x9E\xBD\x1B"},
        {1, 0, 7, "c##"},
        {1, 1, 8, "r##"},
        {1, 2, 0, "UB\xE4"},
        {1, 3, 0, "LB\xE4"},
        {1, 4, 0, "\x9E\xBD\x1B"},
        {0, 5, TRANSLATE_BAD_FUNCTION, "###"},
        {1, -1, TRANSLATE_BAD_FUNCTION, "###"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.multibyte) + "/" + std::to_string(c.function));
        host->control_block()->multibyte_session = c.multibyte;
        std::string target = "###";
        EXPECT_EQ(wztxxlt(c.function, "aB\xE4", target.data(), 3), c.result);
        EXPECT_EQ(target, c.expected);
        EXPECT_EQ(wztxxlt(2, "aB\xE4", nullptr, 0), 0);
    }
    EXPECT_EQ(wzbcup("aBc", "AbC", 3), 0);
    EXPECT_EQ(wzbcup("abd", "ABC", 3), 1);
    EXPECT_EQ(wzbcup("a\x01", "a\xFF", 2), -254);
    EXPECT_EQ(wzbcup("a", "b", 0), 0);
}

} // namespace
