// User formats: the names that labelled variables get, the format that is built, and the value lists read back.
#include "collected_import.h"
#include "conversion_test.h"
#include "imglue_user_formats.h"

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
    // The format in the catalog as "value=label ...".
    std::string stored(const std::string &name) {
        std::string text;
        for (const vor::FormatRange &range : catalog.formats[name].ranges) {
            std::visit([&text](const auto &value) { text += vor::test::value_text(value); }, range.start);
            text += '=' + range.labels[0].substr(0, 20) + ' ';
        }
        return text;
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
        {"2005", false, "F2005A"},
        {"20051231", false, "F200512A"},
        {"DATE", false, "DATEA"},
        {"rate-b", false, "rateZb"},
        {"rate-bx", false, "rate_bx"},
        {"neighbourhood", true, "$neighb"},
        {"x_c", false, "xZc"},
        {"\xC3\xA9t", false, "__t"},
        {"longname1", false, "longnam"},
        {"Q1A", false, "Q1A"},
        {"longname2", false, "longna1A"},
        {"Q1", false, "Q1_1A"}, // Q1A is another's
        {"", false, "FA"},
        {"", true, "$FA"},
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

TEST_F(UserFormats, Building) {
    std::list<std::string> texts;
    std::list<innamevaluestruct> entries;
    const auto label = [&](std::string value, std::string text) -> innamevaluestruct & {
        innamevaluestruct &entry = entries.emplace_back();
        entry.valuetype = 1;
        entry.startvalue = texts.emplace_back(std::move(value)).data();
        entry.displayvalue = texts.emplace_back(std::move(text)).data();
        if (entries.size() > 1)
            std::prev(entries.end(), 2)->nextvalue = &entry;
        return entry;
    };
    const auto number = [](double value) { return std::string(reinterpret_cast<const char *>(&value), sizeof value); };
    label(number(2), "no");
    label(number(1), "yes");
    label(number(1), "maybe");
    label(number(3), "skipped").valuetype = 2;
    label(number(-0.5), std::string(40000, 'x'));
    char name[] = "answer";
    innamerecord variable{};
    variable.innamename = name;
    variable.innameoutf[0] = variable.innameoutf[1] = 9;
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &entries.front(), "ANSWER", 1), 0);
    EXPECT_EQ(stored("ANSWER"), "-0.5=xxxxxxxxxxxxxxxxxxxx 1=yes 2=no ");
    EXPECT_EQ(catalog.last_place, "WORK.FORMATS");
    EXPECT_STREQ(variable.innameof, "ANSWER");
    EXPECT_EQ(variable.innameoutf[0] + variable.innameoutf[1], 0);
    EXPECT_TRUE(host->log.contains("A value label of the variable answer has 40000 bytes and is cut to 32767."));

    // Text values lose their trailing white space; the catalog is the options'.
    entries.clear();
    label("a b \t ", "padded");
    label("a b", "the same value");
    std::memcpy(options.fmtlib, "LIB     ", 8);
    options.fmtliblen = 3;
    std::memcpy(options.fmtmem, "LABELS", 6);
    options.fmtmemlen = 6;
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &entries.front(), "$A", 0), 0);
    EXPECT_EQ(stored("$A"), "'a b'=padded ");
    EXPECT_EQ(catalog.last_place, "LIB.LABELS");
    host->log.lines.clear();

    // Failures of the builder are said and done with; only the variable must keep the format's name.
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
        EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, nullptr, "EMPTY", 1), 0);
    }
    leave_blocks(1); // the name, then not the builder
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &entries.front(), "$A", 0), 0);
    leave_blocks(0);
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &entries.front(), "$A", 0), ERROR_MEMORY);
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
    catalog.formats["$TEXT"] = {
        .name = "$TEXT", .kind = vor::ValueKind::character, .ranges = {{"a", "c", {"range"}}, {"x y", "x y", {"one"}}}};
    catalog.formats["WORDS"] = {.name = "WORDS", .kind = vor::ValueKind::character, .ranges = {{"a", "a", {"one"}}}};
    catalog.formats["SEVERAL"] = {.name = "SEVERAL", .multilabel = true, .ranges = {{1.0, 1.0, {"a", "b"}}}};
    const struct {
        const char *name;
        const char *expected;
        const char *line;
    } cases[] = {
        {"MIXED", "0 7=seven", ""},
        {"$TEXT", "0 x y=one", ""},
        {"WORDS", "0", ""}, // of text, for a numeric variable
        {"SEVERAL", "1", "Format SEVERAL is MULTILABEL. It will be ignored."},
        {"NOWHERE", "0", ""},
    };
    for (const auto &c : cases) {
        host->log.lines.clear();
        EXPECT_EQ(grab(c.name, *c.name != '$'), c.expected);
        EXPECT_EQ(host->log.text(), *c.line == '\0' ? "" : std::string("NOTE: ") + c.line + '\n');
    }
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
    replace(xfrdfmt, [](SERVICE_ID, const char *, std::int32_t, XFRWSTR *format) {
        format->hp = &header;
        format->rp = first;
        return 0;
    });
    std::list<ILABELSTR_NCF> labels;
    std::list<std::array<std::uint64_t, 16>> blocks;
    TREE *last = nullptr;
    const auto add = [&]<class Range>(Range range, char label) { // label 0: none; 'p': not a text
        range.u.label =
            label == 0 ? nullptr
                       : &labels.emplace_back(ILABELSTR_NCF{
                             .rectype = label == 'p' ? std::int8_t{7} : LABEL_TEXT, .length = 1, .label = {label}});
        auto *node = reinterpret_cast<TREE *>(blocks.emplace_back().data());
        std::memcpy(node + 1, &range, sizeof range);
        (last == nullptr ? first : last->rlink) = node;
        last = node;
    };
    const auto in_16 = [](std::int8_t type, const std::string &start, const std::string &end) {
        IRANGESTR_C16 range{type, 0, {}, {}, {}};
        (start + std::string(16, ' ')).copy(range.start, 16);
        (end + std::string(16, ' ')).copy(range.end, 16);
        return range;
    };
    add(IRANGESTR_C_S{RANGE_CHARACTER_VALUE, 3, {}, 0, "abc"}, 'a');
    add(IRANGESTR_C{RANGE_CHARACTER_INTERVAL, 0, 1, 1, {}, "f", "t"}, 'b');
    add(IRANGESTR_C{RANGE_CHARACTER_INTERVAL, 0, 4, 0, {}, "only", "t"}, 'c');
    add(in_16(RANGE_CHARACTER_VALUE_16, "sixteen", "ignored"), 'd');
    add(in_16(RANGE_CHARACTER_INTERVAL_16, "from", "to"), 'e');
    add(in_16(RANGE_CHARACTER_INTERVAL_16, "exactly 16 bytes", ""), 'f');
    add(IRANGESTR_C_S{RANGE_CHARACTER_VALUE, 1, {}, 0, "u"}, 0);
    add(IRANGESTR_C_S{RANGE_CHARACTER_VALUE, 1, {}, 0, "p"}, 'p');
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
