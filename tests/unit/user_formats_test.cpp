// User formats: the names that labelled variables get, the format that is built, and the value lists read back.
#include "conversion_host.h"
#include "imglue_user_formats.h"
#include "zfmtmkfm.h"

namespace {

class UserFormats : public vor::test::ConversionTest {
  protected:
    std::string name_of(const std::string &variable, bool is_character = false) {
        char format[FORMAT_NAME_BYTES + 1];
        make_unique_format(self.get(), format, variable.c_str(), &names, is_character ? 1 : 0);
        return format;
    }

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
        {"neighbourhood", true, "$neighb"},
        {"2005", false, "F2005A"},
        {"20051231", false, "F200512A"},
        {"DATE", false, "DATEA"},
        {"rate-b", false, "rateZb"},
        {"rate-bx", false, "rate_bx"},
        {"ab cd-C", true, "$ab_cd_"},
        {"x_c", false, "xZc"},
        {"\xC3\xA9t\xC3\xA9", false, "__t__"},
        {"longname1", false, "longnam"},
        {"longname2", false, "longna1A"},
        {"Q1A", false, "Q1A"},
        {"Q1", false, "Q1_1A"}, // Q1A is another variable's
        {"", false, "F"},
        {"", true, "$F"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(name_of(c.variable, c.is_character), c.expected) << c.variable;
}

// However many variables share a name, no two share a format.
TEST_F(UserFormats, ManyNamesStayApart) {
    std::set<std::string> seen;
    for (int i = 0; i < 1200; ++i) {
        const std::string name = name_of("variable");
        EXPECT_LE(name.size(), 8u);
        EXPECT_FALSE(std::isdigit(static_cast<unsigned char>(name.back()))) << name;
        EXPECT_TRUE(seen.insert(name).second) << name;
    }
}

// A value label as a driver attaches it.
struct Label {
    Label(double value, std::string label) : number(value), text(std::move(label)) { point(&number); }
    Label(std::string value, std::string label) : characters(std::move(value)), text(std::move(label)) {
        point(characters.data());
    }
    Label(const Label &) = delete;
    void point(void *start) {
        entry.valuetype = 1;
        entry.startvalue = static_cast<char *>(start);
        entry.displayvalue = text.data();
    }
    double number = 0;
    std::string characters;
    std::string text;
    innamevaluestruct entry{};
};

TEST_F(UserFormats, Building) {
    Label first(1.0, "yes"), second(2.0, "no"), again(1.0, "maybe"), skipped(3.0, "skipped"),
        long_one(-0.5, std::string(40000, 'x'));
    first.entry.nextvalue = &second.entry;
    second.entry.nextvalue = &again.entry;
    again.entry.nextvalue = &skipped.entry;
    skipped.entry.nextvalue = &long_one.entry;
    skipped.entry.valuetype = 2;
    std::string seen;
    std::int32_t answer = 0;
    host.write_format = [&](const std::string &name, const XFRWSTR &format) {
        seen = name + '|' + std::string(format.libname.text, static_cast<std::size_t>(format.libname.length)) + '.' +
               std::string(format.objlibnm.text, static_cast<std::size_t>(format.objlibnm.length));
        for (const LABELSTR_NCF *label = format.lp; label != nullptr; label = label->next)
            seen += '|' + std::string(reinterpret_cast<const char *>(label) + 12,
                                      static_cast<std::size_t>(std::min<int>(label->ncf.length, 5)));
        return answer;
    };
    char name[] = "answer";
    innamerecord variable{};
    variable.innamename = name;
    variable.innameoutf[0] = 9;
    variable.innameoutf[1] = 2;
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &first.entry, "ANSWER", 1), 0);
    EXPECT_EQ(seen, "ANSWER  |WORK.FORMATS|yes|no|xxxxx");
    EXPECT_STREQ(variable.innameof, "ANSWER");
    EXPECT_EQ(variable.innameoutf[0] + variable.innameoutf[1], 0);
    EXPECT_EQ(host.log, (std::vector<std::string>{
                            "%3zA value label of the variable answer has 40000 bytes and is cut to 32767."}));

    // Text values lose their trailing white space; the catalog is the options'.
    Label blank("a b \t ", "padded"), same("a b", "the same value");
    blank.entry.nextvalue = &same.entry;
    std::memcpy(options.fmtlib, "LIB     ", 8);
    options.fmtliblen = 3;
    std::memcpy(options.fmtmem, "LABELS", 6);
    options.fmtmemlen = 6;
    host.log.clear();
    answer = static_cast<std::int32_t>(FORMAT_NOT_REPLACED);
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &blank.entry, "$A", 0), 0);
    EXPECT_EQ(seen, "$A      |LIB.LABELS|padde");
    EXPECT_EQ(host.log, (std::vector<std::string>{"NUMFMT was not replaced due to the NOREPLACE option"}));

    answer = -5;
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, nullptr, "EMPTY", 1), 0);
    answer = 5; // what the writer only remarks on
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, nullptr, "EMPTY", 1), 0);
    host.allocations_left = 1; // the name, then not the builder
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &first.entry, "ANSWER", 1), 0);
    EXPECT_EQ(host.messages, (std::vector<std::string>{"code -5", "code " + std::to_string(HOST_NO_MEMORY)}));
    host.allocations_left = 0;
    EXPECT_EQ(mivex_build_format_entry(self.get(), &variable, &first.entry, "ANSWER", 1), ERROR_MEMORY);
    EXPECT_EQ(host.pools, 0);
}

// A format in a catalog, as the host's reader hands it out.
class Catalog {
  public:
    explicit Catalog(std::int16_t type) { header.type = type; }

    const ILABELSTR_NCF *label(const std::string &text, std::int8_t rectype = LABEL_TEXT) {
        auto *made = reinterpret_cast<ILABELSTR_NCF *>(block(8 + text.size()));
        made->rectype = rectype;
        made->length = static_cast<std::int16_t>(text.size());
        text.copy(reinterpret_cast<char *>(made) + 4, text.size());
        return made;
    }
    template <class Range>
    Range &add(std::int8_t rectype, const ILABELSTR_NCF *text) {
        auto *node = reinterpret_cast<TREE *>(block(sizeof(TREE) + sizeof(Range)));
        (last == nullptr ? first : last->rlink) = node;
        last = node;
        auto *range = reinterpret_cast<Range *>(node + 1);
        range->rectype = rectype;
        range->u.label = text;
        return *range;
    }
    void number(double start, const std::string &text) {
        wzcsdbl(&start, add<IRANGESTR_N_S>(RANGE_NUMERIC_VALUE, label(text)).start);
    }
    void interval(double start, double end, const std::string &text) {
        auto &range = add<IRANGESTR_N>(RANGE_NUMERIC_INTERVAL, label(text));
        wzcsdbl(&start, range.start);
        wzcsdbl(&end, range.end);
    }
    void text_interval(const char *start, std::int16_t end_length, const std::string &text) {
        auto &range = add<IRANGESTR_C>(RANGE_CHARACTER_INTERVAL, label(text));
        range.start = start;
        range.startlen = static_cast<std::int16_t>(std::strlen(start));
        range.end = "z";
        range.endlen = end_length;
    }
    void text_16(std::int8_t rectype, const std::string &start, const std::string &end, const std::string &text) {
        auto &range = add<IRANGESTR_C16>(rectype, label(text));
        std::memset(range.start, ' ', 32);
        start.copy(range.start, 16);
        end.copy(range.end, 16);
    }

    HEADSTR header{};
    TREE *first = nullptr;

  private:
    void *block(std::size_t bytes) { return blocks.emplace_back(std::calloc(1, bytes), std::free).get(); }
    TREE *last = nullptr;
    std::vector<std::unique_ptr<void, decltype(&std::free)>> blocks;
};

class GrabbedFormats : public UserFormats {
  protected:
    // The symbol's value list after asking for a format, as "value=label ...".
    std::string grab(Catalog &catalog) {
        host.read_format = [&catalog](const std::string &, XFRWSTR *format) {
            format->hp = &catalog.header;
            format->rp = catalog.first;
            return 0;
        };
        symbolstruct symbol{};
        status = grab_user_format_entries(self.get(), "MYFMT", 5, &symbol);
        std::string text;
        for (const innamevaluestruct *entry = symbol.headvaluelist; entry != nullptr; entry = entry->nextvalue) {
            double number = 0;
            if (catalog.header.type == FORMAT_NUMERIC)
                std::memcpy(&number, entry->startvalue, sizeof number);
            text += catalog.header.type == FORMAT_NUMERIC ? std::to_string(number) : entry->startvalue;
            text += std::string("=") + entry->displayvalue + ';';
            EXPECT_EQ(entry->valuetype, 1);
            EXPECT_EQ(entry->endvalue, nullptr);
        }
        EXPECT_EQ(host.pools, 0);
        return text;
    }
    std::int32_t status = -99;
};

TEST_F(GrabbedFormats, SingleValuesOnly) {
    Catalog numeric(FORMAT_NUMERIC);
    numeric.number(std::bit_cast<double>(0xFFFFFD0000000000), ".A");
    numeric.number(2, "two");
    numeric.interval(1, 5, "range");
    numeric.interval(7, 7, "seven");
    numeric.add<IRANGESTR_N_S>(RANGE_NUMERIC_VALUE, nullptr);
    numeric.add<IRANGESTR_N_S>(RANGE_NUMERIC_VALUE, numeric.label("prefix", 7));
    numeric.add<IRANGESTR_C_S>(RANGE_CHARACTER_VALUE, numeric.label("of the other kind"));
    numeric.add<IRANGESTR_N_S>(99, numeric.label("unknown"));
    EXPECT_EQ(grab(numeric), "2.000000=two;7.000000=seven;");
    EXPECT_EQ(status, 0);

    Catalog character(FORMAT_CHARACTER);
    auto &value = character.add<IRANGESTR_C_S>(RANGE_CHARACTER_VALUE, character.label("letters"));
    std::memcpy(value.startc, "abcdefg", 7);
    value.startlen = 7;
    character.text_interval("from", 1, "interval");
    character.text_interval("only", 0, "no end");
    character.text_16(RANGE_CHARACTER_VALUE_16, "sixteen", "ignored", "value");
    character.text_16(RANGE_CHARACTER_INTERVAL_16, "from", "to", "interval");
    character.text_16(RANGE_CHARACTER_INTERVAL_16, "exactly 16 bytes", "", "no end");
    EXPECT_EQ(grab(character), "abcdefg=letters;only=no end;sixteen=value;exactly 16 bytes=no end;");

    for (int blocks = 0; blocks < 6; ++blocks) {
        host.allocations_left = blocks;
        EXPECT_EQ(grab(numeric), "");
        EXPECT_EQ(status, ERROR_MEMORY) << blocks;
    }
}

TEST_F(GrabbedFormats, UnusableFormats) {
    Catalog other(12);
    EXPECT_EQ(grab(other), "");
    EXPECT_EQ(status, 1);
    Catalog multilabel(FORMAT_NUMERIC);
    multilabel.number(1, "one");
    multilabel.header.multilabel = 1;
    EXPECT_EQ(grab(multilabel), "");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(host.log, (std::vector<std::string>{"Format MYFMT is not either a numeric or character format.",
                                                  "Format MYFMT is MULTILABEL. It will be ignored."}));
}

TEST_F(GrabbedFormats, WhatIsLookedUp) {
    std::vector<std::string> asked;
    std::int32_t answer = static_cast<std::int32_t>(FORMAT_NOT_FOUND) | 0x00400000; // a bit that does not count
    host.read_format = [&](const std::string &name, XFRWSTR *format) {
        asked.push_back(name + '@' +
                        std::string(format->libname.text, static_cast<std::size_t>(format->libname.length)) + '.' +
                        std::string(format->objlibnm.text, static_cast<std::size_t>(format->objlibnm.length)));
        EXPECT_NE(format->poolptr, nullptr);
        return answer;
    };
    const char *const built_in[] = {"", "COMMA", "Best", "$", "DATETIME", "YYMMDDN", "ddmmyyp", "YYQR", "mmmyy"};
    symbolstruct symbol{};
    for (const char *name : built_in)
        EXPECT_EQ(grab_user_format_entries(self.get(), name, static_cast<std::int32_t>(std::strlen(name)), &symbol), 0);
    EXPECT_TRUE(asked.empty());
    const struct {
        const char *name;
        std::int32_t answer;
        std::int32_t expected;
    } cases[] = {{"COMMAND", answer, 0}, {"$CHAR", answer, 0}, {"YYM", 3, 1}};
    for (const auto &c : cases) {
        answer = c.answer;
        EXPECT_EQ(grab_user_format_entries(self.get(), c.name, static_cast<std::int32_t>(std::strlen(c.name)), &symbol),
                  c.expected);
    }
    EXPECT_EQ(asked, (std::vector<std::string>{"COMMAND@WORK.FORMATS", "$CHAR@WORK.FORMATS", "YYM@WORK.FORMATS"}));
    EXPECT_EQ(host.messages, (std::vector<std::string>{"code 3"}));
    EXPECT_EQ(host.pools, 0);
}

} // namespace
