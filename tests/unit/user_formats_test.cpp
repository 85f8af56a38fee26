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
        create_value_list_entry_character(self.get(), value.data(), static_cast<std::int32_t>(value.size()),
                                          static_cast<std::int32_t>(label.size()), label.data(), &list, &last);
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

// Text values lose their trailing white space; the catalog is the options'.
TEST_F(BuiltFormats, OfTexts) {
    add("a b \t ", "padded");
    add("a b", "the same value");
    std::memcpy(options.fmtlib, "LIB     ", 8);
    options.fmtliblen = 3;
    std::memcpy(options.fmtmem, "LABELS", 6);
    options.fmtmemlen = 6;
    EXPECT_EQ(build("$A", 0), 0);
    EXPECT_EQ(vor::test::ranges_text(catalog.formats["$A"]), "'a b'=padded ");
    EXPECT_EQ(catalog.last_place, "LIB.LABELS");
    EXPECT_TRUE(host->log.contains("answer have a second label for the value a b;"));
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
        // What is left of a usable format is three blocks for each entry.
        EXPECT_TRUE(text[0] == '-' || host->memory.blocks() - blocks == 3 * std::ranges::count(text, '='));
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

TEST_F(GrabbedFormats, BuiltInFormatsAreNotLookedUp) {
    static int asked;
    static std::int32_t answer;
    asked = 0;
    replace(xfrdfmt, [](SERVICE_ID, const char *, std::int32_t, XFRWSTR *) {
        ++asked;
        return answer;
    });
    for (const char *name : {"", "COMMA", "Best", "$", "DATETIME", "YYMMDDN", "ddmmyyp", "YYQR", "mmmyy"})
        EXPECT_EQ(grab(name), "0") << name;
    EXPECT_EQ(asked, 0);
    answer = static_cast<std::int32_t>(FORMAT_NOT_FOUND | 0x00400000); // with a bit that does not count
    EXPECT_EQ(grab("COMMAND"), "0");
    answer = 3;
    EXPECT_EQ(grab("YYM"), "1");
    EXPECT_EQ(asked, 2);
}

// Records that other hosts' catalogs hold.
TEST_F(GrabbedFormats, RecordsOfEveryKind) {
    static HEADSTR header;
    static TREE *first;
    first = nullptr;
    replace(xfrdfmt, [](SERVICE_ID, const char *, std::int32_t, XFRWSTR *format) {
        format->hp = &header;
        format->rp = first;
        return 0;
    });
    std::list<ILABELSTR_NCF> labels;
    std::list<std::array<std::uint64_t, 16>> blocks;
    TREE **end = &first;
    const auto add = [&](auto range, char label, std::int8_t label_type = LABEL_TEXT) {
        labels.push_back({.rectype = label_type, .length = 1, .label = {label}});
        range.u.label = label == '-' ? nullptr : &labels.back();
        auto *node = reinterpret_cast<TREE *>(blocks.emplace_back().data());
        std::memcpy(node + 1, &range, sizeof range);
        *end = node;
        end = &node->rlink;
    };
    const auto in_16 = [](std::int8_t type, const std::string &start, const std::string &end_of_range) {
        IRANGESTR_C16 range{type, 0, {}, {}, {}};
        vzmp(start.data(), static_cast<std::int32_t>(start.size()), range.start, 16);
        vzmp(end_of_range.data(), static_cast<std::int32_t>(end_of_range.size()), range.end, 16);
        return range;
    };
    add(IRANGESTR_C_S{RANGE_CHARACTER_VALUE, 3, {}, 0, "abc"}, 'a');
    add(IRANGESTR_C{RANGE_CHARACTER_INTERVAL, 0, 1, 1, {}, "f", "t"}, 'b');
    add(IRANGESTR_C{RANGE_CHARACTER_INTERVAL, 0, 4, 0, {}, "only", "t"}, 'c');
    add(in_16(RANGE_CHARACTER_VALUE_16, "sixteen", "ignored"), 'd');
    add(in_16(RANGE_CHARACTER_INTERVAL_16, "from", "to"), 'e');
    add(in_16(RANGE_CHARACTER_INTERVAL_16, "exactly 16 bytes", ""), 'f');
    add(IRANGESTR_C_S{RANGE_CHARACTER_VALUE, 1, {}, 0, "u"}, '-');
    add(IRANGESTR_C_S{RANGE_CHARACTER_VALUE, 1, {}, 0, "p"}, 'p', 7);              // no text
    for (const double number : {2.0, std::bit_cast<double>(0xFFFFFD0000000000)}) { // and .A, which is no value
        IRANGESTR_N_S range{RANGE_NUMERIC_VALUE, 0, {}, {}};
        wzcsdbl(&number, range.start);
        add(range, 'n');
        range.rectype = 99;
        add(range, 'x');
    }
    header = {};
    header.type = FORMAT_CHARACTER;
    EXPECT_EQ(grab("$ANY", false), "0 abc=a only=c sixteen=d exactly 16 bytes=f");
    header.type = FORMAT_NUMERIC;
    EXPECT_EQ(grab("ANY"), "0 2=n");
    header.type = 12;
    EXPECT_EQ(grab("ANY"), "1");
    EXPECT_TRUE(host->log.contains("Format ANY is not either a numeric or character format."));
}

} // namespace
