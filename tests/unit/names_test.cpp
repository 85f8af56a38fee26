// Names: cutting, uniqueness, cleaning and what the log says of it.
#include "imglue_names.h"
#include "module_host.h"

#include <gtest/gtest.h>
#include <memory>
#include <set>

namespace {

class Names : public testing::Test {
  protected:
    // The new name; `suffixed` keeps the result.
    std::string unique(const std::string &name, std::int32_t limit = 32) {
        char made[100];
        suffixed = outnameunique(session.get(), &root, name.c_str(), made, limit);
        return made;
    }
    std::string unique_utf8(std::string name, std::int32_t limit = 32) {
        char made[100];
        suffixed = outnameunique_utf8(session.get(), &root, name.data(), made, limit);
        return made;
    }
    std::string cleaned(const std::string &name, std::int32_t index = 6) {
        // Exactly the area that the contract asks for.
        std::vector<char> made(33);
        to_vor_name(session.get(), &root, reinterpret_cast<const unsigned char *>(name.c_str()), made.data(), index,
                    32);
        return made.data();
    }

    vor::test::ModuleHost host;
    std::unique_ptr<IMGLUE> session = std::make_unique<IMGLUE>();
    outnamestruct *root = nullptr;
    std::int32_t suffixed = -1;
};

TEST_F(Names, Suffixes) {
    const std::string stem31(31, 'n');
    const struct {
        std::string name, expected;
        std::int32_t limit = 32;
    } steps[] = {
        {"NAME", "NAME"},
        {"Name", "Name_1"},
        {"name  ", "name  _1"}, // the same name; its suffix stands behind its blanks
        {"name", "name_2"},
        {"name_2", "name_2_1"},
        {std::string(32, 'x'), std::string(32, 'x')},
        {std::string(32, 'X'), std::string(31, 'X') + "1"},
        {stem31, stem31},
        {stem31, stem31 + "1"},
        {std::string(30, 'm'), std::string(30, 'm')},
        {std::string(30, 'm'), std::string(30, 'm') + "_1"},
        {"FORMAT", "FORMAT", 7},
        {"FORMAT", "FORMAT1", 7},
        {"FORMATS", "FORMATS", 7},
        {"FORMATS", "FORMAT2", 7},
    };
    for (const auto &step : steps) {
        SCOPED_TRACE(step.expected);
        EXPECT_EQ(unique(step.name, step.limit), step.expected);
        EXPECT_EQ(suffixed, step.name == step.expected ? 0 : 1);
    }
    for (int k = 2; k <= 9; ++k)
        EXPECT_EQ(unique(stem31), stem31 + std::to_string(k));
    EXPECT_EQ(unique(stem31), stem31.substr(1) + "10");
}

TEST_F(Names, SuffixesKeepUtf8CharactersWhole) {
    const std::string umlaut = "\xC3\xA4";
    const std::string odd = std::string(29, 'a') + umlaut + "b"; // bytes 30 and 31 are one character
    EXPECT_EQ(unique_utf8(odd), odd);
    EXPECT_EQ(unique_utf8(odd), std::string(29, 'a') + "_1");
    const std::string even = std::string(30, 'b') + umlaut;
    EXPECT_EQ(unique_utf8(even), even);
    EXPECT_EQ(unique_utf8(even), std::string(30, 'b') + "_1");
    EXPECT_EQ(unique_utf8("short"), "short");
    EXPECT_EQ(unique_utf8("SHORT"), "SHORT_1");

    // Only three-byte characters: at every number of digits the name stays whole and within the limit.
    std::string euros;
    for (int i = 0; i < 10; ++i)
        euros += "\xE2\x82\xAC";
    std::set<std::string> seen;
    for (int i = 0; i < 1200; ++i) {
        const std::string name = unique_utf8(euros);
        ASSERT_TRUE(seen.insert(name).second) << name;
        ASSERT_LE(name.size(), 32U);
        const std::size_t ascii = name.find_first_of("_0123456789");
        ASSERT_EQ(std::min(ascii, name.size()) % 3, 0U) << name;
    }
}

TEST_F(Names, Cleaning) {
    const std::string change = "NOTE:    Variable Name Change.  ";
    const std::string suffix = "NOTE:    Variable Name Change...  ";
    const std::string cut = "NOTE:    Name Truncated...  ";
    const std::string long_name = std::string(31, 'q') + " tail";
    const struct {
        std::string name, expected, line;
    } steps[] = {
        {"price", "price", ""},
        {"[`", "__", change + "[` -> __"},
        {"2nd Qtr", "_2nd_Qtr", change + "2nd Qtr -> _2nd_Qtr"},
        {"a-b-c", "a_b_c", change + "a-b-c -> a_b_c"},
        {"a-b-c-d", "VAR7", change + "a-b-c-d -> VAR7"},
        {"gr\xC3\xB6\xC3\x9F"
         "e",
         "VAR7_1",
         suffix + "gr\xC3\xB6\xC3\x9F"
                  "e -> VAR7_1"},
        {"Price  ", "Price_1", suffix + "Price   -> Price_1"},
        {"", "VAR7_2", suffix + " -> VAR7_2"},
        {long_name, std::string(31, 'q'), cut + long_name + " -> " + std::string(31, 'q')},
        {std::string(40, '9'), "_" + std::string(31, '9'),
         change + std::string(32, '9') + " -> _" + std::string(31, '9')},
        {"9" + std::string(29, 'k') + " z", "_9" + std::string(29, 'k') + "_",
         change + "9" + std::string(29, 'k') + " z -> _9" + std::string(29, 'k') + "_"},
        {"%s%n", "_s_n", ""},
        {"x%s", "x_s", change + "x%s -> x_s"},
    };
    for (const auto &step : steps) {
        SCOPED_TRACE(step.name);
        host.log.lines.clear();
        EXPECT_EQ(cleaned(step.name), step.expected);
        EXPECT_EQ(host.log.lines, step.line.empty() ? std::vector<std::string>{} : std::vector{step.line});
    }
    // As long as the scratch buffers and longer: cut, and nothing written outside.
    EXPECT_EQ(cleaned(std::string(70000, 'w')), std::string(32, 'w'));
}

} // namespace
