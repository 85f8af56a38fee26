// Translation by the host's tables and comparison without regard to letter case.
#include "module_host.h"
#include "wzst.h"
#include "wztxxlt.h"

#include <gtest/gtest.h>

namespace {

TEST(FieldStrings, Comparison) {
    EXPECT_EQ(wzstcom("ab", 2, "ab   ", 5), 0);
    EXPECT_EQ(wzstcom("ab", 2, "ac", 2), -2);
    EXPECT_EQ(wzstcom("ab", 2, "ab\t", 3), 3);
    EXPECT_EQ(wzstcom(nullptr, 4, "   ", 3), 0);
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
