// The Stata writer: the bytes of header, descriptors, records and value labels, worked out by hand from the layout.
#include "grammar_options.h"
#include "imstata_write_finish.h"
#include "imstata_write_header.h"
#include "imstata_write_records.h"
#include "module_host.h"

#include <bit>
#include <deque>
#include <gtest/gtest.h>
#include <limits>

namespace vor::test {
namespace {

std::string padded(std::string text, std::size_t width) {
    text.resize(width);
    return text;
}

template <class number>
std::string little(number value) {
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

struct Label {
    double value;
    std::string text;
    std::int16_t kind = 1;
};

struct Symbol {
    std::string name = "v";
    std::int32_t type = CLASS_DOUBLE;
    std::int32_t length = 8;
    std::string format = {};
    std::int32_t width = 0;
    std::string label = {};
    std::vector<Label> labels = {};
};

// An output file in memory, with its session.
class Export {
  public:
    explicit Export(std::deque<Symbol> variables) : symbols_(std::move(variables)) {
        session->grammar_ptr = &options;
        out.self = session.get();
        out.mivex_outfd = file.handle;
        out.outbuffsize = 32000;
        out.message_string = message;
        outvarrec **link = &out.outtemphead;
        for (Symbol &symbol : symbols_) {
            link = &(*link = add(symbol))->bigoutnext;
        }
        out.outallhead = out.outtemphead;
        for (outvarrec &variable : variables_)
            variable.nextoutvar = variable.bigoutnext;
    }

    std::int32_t begin() {
        const std::int32_t status = outmakerecord(&out);
        return status == 0 ? initoutbuffer(&out) : status;
    }

    // One observation; each value is a text or a number.
    struct Value {
        std::string text = {};
        mivex_num_struct number = {};
    };
    std::int32_t row(const std::vector<Value> &values) {
        beginoutrec(&out);
        std::size_t i = 0;
        for (outvarrec *variable = out.outallhead; variable != nullptr; variable = variable->nextoutvar, ++i) {
            const bool character = variable->outnameftype == OUTPUT_CHARACTER;
            writeit(&out, variable, character ? static_cast<const void *>(values[i].text.data()) : &values[i].number);
        }
        return endoutrec(&out);
    }

    std::int32_t whole() {
        const std::int32_t status = begin();
        return status == 0 ? finoutdbs(&out) : status;
    }

    // The slot of a variable in a section of fixed-width slots.
    std::string slot(const std::string &section, std::size_t width, std::size_t index) {
        const std::string tag = "<" + section + ">";
        const std::string all = bytes();
        return all.substr(all.find(tag) + tag.size() + index * width, width);
    }

    // What the file holds so far.
    std::string bytes() {
        xxflush(file.handle);
        return host.files.get("out.dta");
    }

    outvarrec &variable(std::size_t index) { return variables_[index]; }

    ModuleHost host;
    WatchedFile file{"out.dta", WX_OPEN_OUTPUT};
    glue_grammar_struct options{};
    std::unique_ptr<IMGLUE> session = std::make_unique<IMGLUE>();
    outdbsrec out{};
    char message[OUT_MESSAGE_BYTES] = {};

  private:
    outvarrec *add(Symbol &symbol) {
        symbolstruct &record = records_.emplace_back();
        record.symname = symbol.name.data();
        record.symlabel = symbol.label.data();
        record.symtype = symbol.type;
        record.symlen = symbol.length;
        record.symformlen = symbol.width;
        symbol.format.copy(record.symformat, sizeof record.symformat - 1);
        innamevaluestruct **link = &record.headvaluelist;
        for (Label &label : symbol.labels) {
            innamevaluestruct &entry = entries_.emplace_back();
            entry.valuetype = label.kind;
            entry.startvalue = reinterpret_cast<char *>(&label.value);
            entry.displayvalue = label.text.data();
            link = &(*link = &entry)->nextvalue;
        }
        outvarrec &variable = variables_.emplace_back();
        variable.outinsymbol = &record;
        return &variable;
    }

    std::deque<Symbol> symbols_;
    std::deque<symbolstruct> records_;
    std::deque<innamevaluestruct> entries_;
    std::deque<outvarrec> variables_;
};

mivex_num_struct missing(std::int32_t mark) {
    return {MISSING_SENTINEL, mark};
}

constexpr double minutes_1960 = 31'557'600; // from 1899-12-31 to 1960-01-01

TEST(Writer, AWholeFile) {
    Export file({{.name = "x", .label = "Answer", .labels = {{0, "no"}, {1, "yes"}}},
                 {.name = "s", .type = CLASS_CHARACTER, .length = 3},
                 {.name = "d", .type = CLASS_DATE}});
    ASSERT_EQ(file.begin(), 0);
    ASSERT_EQ(file.row({{.number = {1.0, 0}}, {.text = "abc"}, {.number = {minutes_1960 + 1440, 0}}}), 0);
    ASSERT_EQ(file.row({{.number = missing('B')}, {.text = "x  "}, {.number = missing('.')}}), 0);
    ASSERT_EQ(finoutdbs(&file.out), 0);

    std::string map;
    for (const std::int64_t position : {11, 141, 264, 303, 711, 740, 930, 1356, 2354, 2389, 2432, 2447, 2654, 2666})
        map += little(position);
    std::string expected = "<stata_dta><header><release>118</release><byteorder>LSF</byteorder><K>" +
                           little<std::uint16_t>(3) + "</K><N>" + little<std::uint64_t>(2) + "</N><label>" +
                           std::string(2, '\0') + "</label><timestamp>" + std::string(1, '\0') +
                           "</timestamp></header><map>" + map + "</map>";
    expected += "<variable_types>" + little<std::uint16_t>(65526) + little<std::uint16_t>(3) +
                little<std::uint16_t>(65528) + "</variable_types>";
    expected += "<varnames>" + padded("x", 129) + padded("s", 129) + padded("d", 129) + "</varnames>";
    expected += "<sortlist>" + std::string(8, '\0') + "</sortlist>";
    expected += "<formats>" + padded("%12.0g", 57) + padded("%3s", 57) + padded("%td", 57) + "</formats>";
    expected += "<value_label_names>" + padded("x", 129) + std::string(258, '\0') + "</value_label_names>";
    expected += "<variable_labels>" + padded("Answer", 321) + std::string(642, '\0') + "</variable_labels>";
    expected += "<characteristics></characteristics><data>";
    expected += little(1.0) + "abc" + little<std::int32_t>(1);
    expected += little<std::uint64_t>(0x7FE0020000000000) + padded("x", 3) + little<std::int32_t>(0x7FFFFFE5);
    expected += "</data><strls></strls><value_labels><lbl>" + little<std::int32_t>(31) + padded("x", 132) +
                little<std::int32_t>(2) + little<std::int32_t>(7) + little<std::int32_t>(0) + little<std::int32_t>(3) +
                little<std::int32_t>(0) + little<std::int32_t>(1) + padded("no", 3) + padded("yes", 4) + "</lbl>";
    expected += "</value_labels></stata_dta>";
    EXPECT_EQ(file.bytes(), expected);
}

TEST(Writer, ReleaseFollowsTheNumberOfVariables) {
    const struct {
        std::size_t variables;
        std::string_view release;
        std::string count;
        std::size_t map, variable_types, sort_bytes;
    } cases[] = {
        {32767, "118", std::string("\xFF\x7F", 2), 141, 264, 65536},
        {32768, "119", std::string("\0\x80\0\0", 4), 143, 266, 131076},
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.variables);
        Export file(std::deque<Symbol>(expected.variables, Symbol{.name = "v", .type = CLASS_DATE}));
        ASSERT_EQ(file.whole(), 0);
        const std::string bytes = file.bytes();
        EXPECT_EQ(bytes.substr(28, 3), expected.release);
        EXPECT_EQ(bytes.substr(67, 7 + expected.count.size()), "<K>" + expected.count + "</K>");
        EXPECT_EQ(bytes.find("<map>"), expected.map);
        EXPECT_EQ(file.out.outhead->header_length, static_cast<std::int32_t>(expected.map));
        EXPECT_EQ(bytes.find("<variable_types>"), expected.variable_types);
        EXPECT_EQ(bytes.find("</sortlist>") - bytes.find("<sortlist>") - 10, expected.sort_bytes);
        for (const auto &[entry, tag] : {std::pair{2, "<variable_types>"},
                                         {3, "<varnames>"},
                                         {4, "<sortlist>"},
                                         {5, "<formats>"},
                                         {6, "<value_label_names>"},
                                         {7, "<variable_labels>"},
                                         {8, "<characteristics>"},
                                         {9, "<data>"},
                                         {10, "<strls>"},
                                         {11, "<value_labels>"},
                                         {12, "</stata_dta>"}})
            EXPECT_EQ(bytes.substr(expected.map + 5 + 8 * static_cast<std::size_t>(entry), 8), little(bytes.find(tag)))
                << tag;
    }
}

TEST(Writer, TypesWidthsAndFormats) {
    const struct {
        Symbol symbol;
        std::int32_t code;
        std::uint16_t stata_type;
        std::int32_t bytes;
        std::string format;
    } cases[] = {
        {{.type = CLASS_CHARACTER, .length = 1}, 3, 1, 1, "%1s"},
        {{.type = CLASS_CHARACTER, .length = 20, .format = "hex", .width = 9}, 3, 20, 20, "%20s"},
        {{.type = CLASS_CHARACTER, .length = 2045}, 3, 2045, 2045, "%2045s"},
        {{.type = CLASS_CHARACTER, .length = 3000}, 3, 2045, 2045, "%2045s"},
        {{.type = CLASS_CHARACTER, .length = 0}, 3, 1, 1, "%1s"},
        {{.type = CLASS_DATE, .format = "date", .width = 9}, 15, 65528, 4, "%td"},
        {{.type = CLASS_TIME, .format = "time", .width = 8}, 18, 65526, 8, "%tcHH:MM:SS"},
        {{.type = CLASS_DATETIME, .format = "datehm", .width = 16}, 19, 65526, 8, "%tc"},
        {{.format = "comma", .width = 10}, 10, 65526, 8, "%10.0g"},
        {{}, 10, 65526, 8, "%12.0g"},
        {{.format = "E", .width = 8}, 10, 65526, 8, "%10.3e"},
        {{.format = "e", .width = 12}, 10, 65526, 8, "%12.5e"},
        {{.type = CLASS_RAW, .width = 1}, 10, 65526, 8, "%1.0g"},
    };
    std::deque<Symbol> symbols;
    std::int64_t record_bytes = 0;
    for (const auto &expected : cases) {
        symbols.push_back(expected.symbol);
        record_bytes += expected.bytes;
    }
    Export file(symbols);
    ASSERT_EQ(file.begin(), 0);
    EXPECT_EQ(file.out.outreclen, record_bytes);
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(file.variable(i).outnameftype, cases[i].code);
        EXPECT_EQ(file.variable(i).outnamelength, cases[i].bytes);
        EXPECT_EQ(file.slot("variable_types", 2, i), little(cases[i].stata_type));
        EXPECT_EQ(file.slot("formats", 57, i), padded(cases[i].format, 57));
    }
}

TEST(Writer, NamesAndLabels) {
    const std::string long_text(400, 'n');
    const std::vector<Label> one = {{1, "one"}};
    for (const bool labels_as_names : {false, true}) {
        Export file({{.name = "x", .label = "Income 2020", .labels = one},
                     {.name = "y", .labels = one},
                     {.name = long_text, .label = long_text, .labels = one},
                     {.name = "d", .type = CLASS_DATE, .label = "Day", .labels = one}});
        file.options.write_labels = labels_as_names ? 1 : 0;
        ASSERT_EQ(file.whole(), 0);
        const std::string names[] = {labels_as_names ? "Income 2020" : "x", "y", std::string(128, 'n'),
                                     labels_as_names ? "Day" : "d"};
        const std::string labels[] = {"Income 2020", "", std::string(320, 'n'), "Day"};
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(file.slot("varnames", 129, i), padded(names[i], 129));
            EXPECT_EQ(file.slot("value_label_names", 129, i), padded(i < 3 ? names[i] : "", 129));
            EXPECT_EQ(file.slot("variable_labels", 321, i), padded(labels[i], 321));
        }
        EXPECT_NE(file.bytes().find("<lbl>" + little<std::int32_t>(20) + padded(names[0], 132)), std::string::npos);
        EXPECT_NE(file.bytes().find(padded(std::string(128, 'n'), 132) + little<std::int32_t>(1)), std::string::npos);
    }
}

TEST(Writer, Numbers) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const auto integer = [](std::int32_t value) { return little(value); };
    const auto bits = [](std::uint64_t pattern) { return little(pattern); };
    const struct {
        outnamefunct_type encoder;
        mivex_num_struct value;
        std::string bytes;
    } cases[] = {
        {writedouble_missings, {0.1, 'B'}, little(0.1)},
        {writedouble_missings, {-1e300, 0}, little(-1e300)},
        {writedouble_missings, {nan, 0}, little(nan)},
        {writedouble_missings, missing(0), bits(0x7FE0000000000000)},
        {writedouble_missings, missing('.'), bits(0x7FE0000000000000)},
        {writedouble_missings, missing('_'), bits(0x7FE0000000000000)},
        {writedouble_missings, missing('A'), bits(0x7FE0010000000000)},
        {writedouble_missings, missing('Z'), bits(0x7FE01A0000000000)},
        {writedouble_missings, missing('a'), bits(0x7FE0000000000000)},
        {writedatelong_missings, {minutes_1960, 0}, integer(0)},
        {writedatelong_missings, {minutes_1960 - 1440, 0}, integer(-1)},
        {writedatelong_missings, {minutes_1960 + 1439, 0}, integer(0)},
        {writedatelong_missings, {minutes_1960 - 1439, 0}, integer(0)},
        {writedatelong_missings, {minutes_1960 + 1440 * 14669.0, 0}, integer(14669)}, // 2000-02-29
        {writedatelong_missings, {(21915 + 2147483647.0) * 1440, 0}, integer(2147483647)},
        {writedatelong_missings, {(21915 + 2147483648.0) * 1440, 0}, integer(INT32_MIN)},
        {writedatelong_missings, {-1e300, 0}, integer(INT32_MIN)},
        {writedatelong_missings, {nan, 0}, integer(INT32_MIN)},
        {writedatelong_missings, missing('.'), integer(2147483621)},
        {writedatelong_missings, missing('B'), integer(2147483623)},
        {writedatelong_missings, missing('Z'), integer(2147483647)},
        {writetime_numeric_missings, {720, 0}, little(43'200'000.0)},
        {writetime_numeric_missings, missing('C'), bits(0x7FE0030000000000)},
        {writedatetime_missings, {minutes_1960, 0}, little(0.0)},
        {writedatetime_missings, {minutes_1960 - 0.5, 0}, little(-30'000.0)},
        {writedatetime_missings, missing('_'), bits(0x7FE0000000000000)},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        outdbsrec out{};
        outvarrec variable{};
        char target[16];
        std::memset(target, '#', sizeof target);
        cases[i].encoder(&out, &variable, target, &cases[i].value);
        EXPECT_EQ(std::string(target, sizeof target), cases[i].bytes + std::string(16 - cases[i].bytes.size(), '#'));
        EXPECT_EQ(out.outcurrcol, static_cast<std::int64_t>(cases[i].bytes.size()));
    }
}

TEST(Writer, Characters) {
    const struct {
        std::string value;
        std::int32_t width;
        std::string slot;
    } cases[] = {
        {"ab   ", 5, "ab"},     {"abcde", 5, "abcde"}, {"     ", 5, ""},
        {" a \t\r\n", 6, " a"}, {"abcdef", 3, "abc"},  {"#", 0, ""},
    };
    for (const auto &[value, width, slot] : cases) {
        SCOPED_TRACE(value);
        Export file({{.name = "s", .type = CLASS_CHARACTER, .length = width}});
        ASSERT_EQ(file.begin(), 0);
        // A first observation leaves its bytes in the buffer for the second to cover.
        file.out.outbuffnum = 1;
        const auto slot_bytes = static_cast<std::size_t>(file.out.outreclen);
        ASSERT_EQ(file.row({{.text = std::string(slot_bytes, '#')}}), 0);
        ASSERT_EQ(file.row({{.text = value}}), 0);
        const std::string bytes = file.bytes();
        EXPECT_EQ(bytes.substr(bytes.size() - slot_bytes), padded(slot, slot_bytes));
    }
}

TEST(Writer, RecordsLeaveInFullBuffers) {
    const struct {
        std::int32_t width;
        std::int64_t in_buffer;
        int rows;
        std::vector<std::int64_t> writes; // of the rows, and the first of the finish
    } cases[] = {
        {100, 320, 320, {32000, 7}}, {100, 320, 321, {32000, 100}},
        {100, 320, 1, {100}},        {2000, 16, 40, {32000, 32000, 16000}},
        {100, 320, 0, {7}},
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.rows);
        Export file({{.name = "s", .type = CLASS_CHARACTER, .length = expected.width}});
        ASSERT_EQ(file.begin(), 0);
        EXPECT_EQ(file.out.outbuffnum, expected.in_buffer);
        file.file.requests.clear();
        for (int row = 0; row < expected.rows; ++row)
            ASSERT_EQ(file.row({{.text = std::string(static_cast<std::size_t>(expected.width), 'r')}}), 0);
        ASSERT_EQ(finoutdbs(&file.out), 0);
        file.file.requests.resize(expected.writes.size());
        EXPECT_EQ(file.file.requests, expected.writes);
        EXPECT_EQ(file.bytes().substr(79, 8), little<std::int64_t>(expected.rows));
        EXPECT_NE(file.bytes().find("<data>" +
                                    std::string(static_cast<std::size_t>(expected.width * expected.rows), 'r') +
                                    "</data>"),
                  std::string::npos);
    }

    Export wide(std::deque<Symbol>(20, Symbol{.name = "s", .type = CLASS_CHARACTER, .length = 2000}));
    ASSERT_EQ(wide.begin(), 0);
    EXPECT_EQ(wide.out.outbuffnum, 1);
    wide.file.requests.clear();
    ASSERT_EQ(wide.row(std::vector<Export::Value>(20, {.text = std::string(2000, 'r')})), 0);
    EXPECT_EQ(wide.file.requests, std::vector<std::int64_t>{40000});
}

TEST(Writer, ValueLabelTables) {
    // Entries of other kinds stay out; values lose their fraction; the order is the list's.
    Export file({{.name = "a",
                  .labels = {{1.9, "b"}, {5, "range", 0x04}, {-1.9, ""}, {6, "x", 0x10}, {7, "y", 0x41}, {3e9, "c"}}},
                 {.name = "t", .type = CLASS_TIME, .labels = {{1, "one"}}}});
    ASSERT_EQ(file.whole(), 0);
    std::string table = "<value_labels><lbl>" + little<std::int32_t>(8 + 24 + 5) + padded("a", 132);
    for (const std::int32_t number : {3, 5, 0, 2, 3, 1, -1, INT32_MIN})
        table += little(number);
    table += std::string("b\0\0c\0", 5) + "</lbl></value_labels></stata_dta>";
    EXPECT_TRUE(file.bytes().ends_with(table));

    // A table far longer than the record buffer it passes through.
    std::vector<Label> many;
    for (int i = 0; i < 3000; ++i)
        many.push_back({static_cast<double>(i), "label " + std::to_string(i)});
    Export large({{.name = "a", .labels = many}});
    large.out.outbuffsize = 1;
    ASSERT_EQ(large.whole(), 0);
    EXPECT_NE(large.bytes().find(padded("label 2998", 11) + padded("label 2999", 11) + "</lbl></value_labels>"),
              std::string::npos);
}

TEST(Writer, FailuresEndTheExport) {
    std::int32_t status = ERROR_WRITE;
    for (int writes = 0; status != 0; ++writes) {
        Export file({{.name = "x", .labels = {{0, "no"}}}});
        file.file.transfers_left = writes;
        status = file.begin();
        if (status == 0)
            status = file.row({{.number = {1, 0}}});
        if (status == 0)
            status = finoutdbs(&file.out);
        EXPECT_TRUE(status == ERROR_WRITE || status == ERROR_SEEK || (status == 0 && writes > 30))
            << status << " after " << writes;
    }
    Export unknown_position({{.name = "x"}});
    unknown_position.file.handle->note = [](WX_FILE *, void *) { return 17; };
    EXPECT_EQ(unknown_position.whole(), ERROR_SEEK);
    Export immovable({{.name = "x"}});
    immovable.file.handle->point = [](WX_FILE *, const void *) { return 17; };
    EXPECT_EQ(immovable.whole(), ERROR_SEEK);
    Export empty({});
    EXPECT_EQ(empty.whole(), ERROR_NO_VARIABLES);
}

} // namespace
} // namespace vor::test
