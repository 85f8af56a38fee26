// User formats: the names that labelled variables get, the format that is built, and the value lists read back.
#include "collected_import.h"
#include "conversion_test.h"
#include "imglue_number_text.h"
#include "imglue_user_formats.h"
#include "wzst.h"

#include <algorithm>
#include <list>
#include <set>

namespace {

using vor::test::Lines;

class UserFormats : public vor::test::ConversionTest {
  protected:
    UserFormats() { start({.catalogs = &catalog}); }

    std::string name_of(const std::string &variable, bool is_character = false) {
        char format[FORMAT_NAME_BYTES + 1];
        make_unique_format(self.get(), format, variable.c_str(), &names, is_character ? 1 : 0);
        return format;
    }

    vor::test::CatalogMap catalog;
    outnamestruct *names = nullptr;
};

TEST_F(UserFormats, Names) {
    const struct {
        const char *variable;
        bool is_character;
        const char *expected;
    } cases[] = {
        {"AGE", false, "AGE"},
        {"age", false, "age_1A"},
        {"city", true, "$city"},
        {"20051231", false, "F200512A"},
        {"DATE", false, "DATEA"}, // the host's
        {"x_c", false, "xZc"},
        {"\xC3\xA9t", false, "__t"},
        {"longname1", false, "longnam"},
        {"longname2", false, "longna1A"},
        {"Q1A", false, "Q1A"},
        {"Q1", false, "Q1_1A"}, // Q1A is another's
        {"", false, "FA"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(name_of(c.variable, c.is_character), c.expected) << c.variable;
    // However many variables share a name, no two share a format.
    std::set<std::string> seen;
    for (int i = 0; i < 1200; ++i) {
        const std::string name = name_of("variable");
        EXPECT_LE(name.size(), 8u);
        EXPECT_TRUE(seen.insert(name).second) << name;
        EXPECT_FALSE(name.back() >= '0' && name.back() <= '9') << name;
    }
}

std::string bytes_of(double number) {
    return std::string(reinterpret_cast<const char *>(&number), sizeof number);
}

class BuiltFormats : public UserFormats {
  protected:
    BuiltFormats() {
        init_multsqq(); // as a session does
        variable.innamename = name;
    }
    void add(const std::string &value, const std::string &label) {
        ASSERT_EQ(create_value_list_entry_character(self.get(), value.data(), static_cast<std::int32_t>(value.size()),
                                                    static_cast<std::int32_t>(label.size()), label.data(), &list,
                                                    &last),
                  DONE);
    }
    std::int32_t build(const char *format, std::int32_t is_number) {
        return mivex_build_format_entry(self.get(), &variable, list, format, is_number);
    }

    char name[7] = "answer";
    innamerecord variable{};
    innamevaluestruct *list = nullptr, *last = nullptr;
};

TEST_F(BuiltFormats, OfNumbers) {
    variable.innameoutf[0] = variable.innameoutf[1] = 9;
    add(bytes_of(2), "no");
    add(bytes_of(1), "yes");
    add(bytes_of(1), "maybe");
    add(bytes_of(3), "skipped");
    last->valuetype = 2;
    add(bytes_of(-0.5), std::string(40000, 'x'));
    EXPECT_EQ(build("ANSWER", 1), 0);
    EXPECT_EQ(vor::test::ranges_text(catalog.formats["ANSWER"]), "-0.5=" + std::string(32767, 'x') + " 1=yes 2=no ");
    EXPECT_EQ(catalog.last_place, "WORK.FORMATS");
    EXPECT_STREQ(variable.innameof, "ANSWER");
    EXPECT_EQ(variable.innameoutf[0] + variable.innameoutf[1], 0);
    EXPECT_TRUE(host->log.contains("A value label of the variable answer has 40000 bytes and is cut to 32767."));
    EXPECT_TRUE(host->log.contains("answer have a second label for the value 1; the first one is kept. Labels left out "
                                   "so: 1."));
}

// Failures of the builder are said and done with; only the variable must keep the format's name.
TEST_F(BuiltFormats, Failures) {
    static std::int32_t answer;
    replace(xfwrfmt, [](SERVICE_ID, const char *, std::int32_t, XFRWSTR *) { return answer; });
    static Lines codes;
    codes.clear();
    replace(xprrlog, [](SERVICE_ID, std::int32_t, std::int32_t code) {
        codes.push_back(std::to_string(code));
        return 0;
    });
    for (const std::int32_t code : {static_cast<std::int32_t>(FORMAT_NOT_REPLACED), -5, 5}) {
        answer = code;
        EXPECT_EQ(build("EMPTY", 1), 0);
    }
    leave_blocks(1); // the name, then not the builder
    EXPECT_EQ(build("$A", 0), 0);
    leave_blocks(0);
    EXPECT_EQ(build("$A", 0), ERROR_MEMORY);
    EXPECT_EQ(codes, (Lines{"-5", std::to_string(HOST_NO_MEMORY)}));
    EXPECT_EQ(host->log.text(), "NOTE: NUMFMT was not replaced due to the NOREPLACE option\n");
}

class GrabbedFormats : public UserFormats {
  protected:
    // The result of asking for a format, and the symbol's value list as "value=label ...".
    std::string grab(const std::string &name, bool numeric = true) {
        symbolstruct symbol{};
        symbol.symtype = numeric ? CLASS_DOUBLE : CLASS_CHARACTER;
        const std::int64_t blocks = host->memory.blocks();
        std::string text = std::to_string(
            grab_user_format_entries(self.get(), name.data(), static_cast<std::int32_t>(name.size()), &symbol));
        for (const innamevaluestruct *entry = symbol.headvaluelist; entry != nullptr; entry = entry->nextvalue) {
            double number;
            if (numeric)
                std::memcpy(&number, entry->startvalue, sizeof number);
            text += ' ' + (numeric ? vor::test::value_text(number) : std::string(entry->startvalue)) + '=' +
                    entry->displayvalue;
            EXPECT_TRUE(entry->valuetype == 1 && entry->endvalue == nullptr);
        }
        // What is left of a usable format is a block for each entry.
        EXPECT_TRUE(text[0] == '-' || host->memory.blocks() - blocks == std::ranges::count(text, '='));
        return text;
    }
};

TEST_F(GrabbedFormats, FromTheCatalog) {
    catalog.formats["MIXED"] = {.name = "MIXED", .ranges = {{1.0, 5.0, {"range"}}, {7.0, 7.0, {"seven"}}}};
    catalog.formats["SEVERAL"] = {.name = "SEVERAL", .multilabel = true, .ranges = {{1.0, 1.0, {"a", "b"}}}};
    EXPECT_EQ(grab("MIXED"), "0 7=seven");
    EXPECT_EQ(grab("NOWHERE"), "0");
    EXPECT_EQ(host->log.text(), "");
    EXPECT_EQ(grab("SEVERAL"), "1");
    EXPECT_EQ(host->log.text(), "NOTE: Format SEVERAL is MULTILABEL. It will be ignored.\n");
    // Without memory for the catalog's records the format is not usable, later the export ends.
    std::string seen;
    for (int blocks = 0; blocks < 20; ++blocks) {
        leave_blocks(blocks);
        const std::string result = grab("MIXED");
        if (!seen.ends_with(result))
            seen += ", " + result;
    }
    EXPECT_EQ(seen, ", 1, -1, 0 7=seven");
}

} // namespace
