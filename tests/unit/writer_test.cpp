// The Stata writer: the bytes of header, descriptors, records and value labels, worked out by hand from the layout.
#include "grammar_options.h"
#include "imstata_write_finish.h"
#include "imstata_write_header.h"
#include "imstata_write_records.h"
#include "module_host.h"

#include <deque>
#include <gtest/gtest.h>
#include <limits>
#include <variant>

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

mivex_num_struct number(double value) {
    return {value, 0};
}
mivex_num_struct missing(std::int32_t mark) {
    return {MISSING_SENTINEL, mark};
}

using Row = std::vector<std::variant<mivex_num_struct, std::string>>;

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
        for (Symbol &symbol : symbols_)
            link = &(*link = add(symbol))->bigoutnext;
        out.outallhead = out.outtemphead;
        for (outvarrec &variable : variables_)
            variable.nextoutvar = variable.bigoutnext;
    }

    // The whole file, up to the first failure.
    std::int32_t write(const std::vector<Row> &rows = {}) {
        std::int32_t status = outmakerecord(&out);
        if (status == 0)
            status = initoutbuffer(&out);
        writes_before_data = file.requests.size();
        for (std::size_t i = 0; i < rows.size() && status == 0; ++i)
            status = write_row(rows[i]);
        return status == 0 ? finoutdbs(&out) : status;
    }

    // The slot of a variable in a section of fixed-width slots.
    std::string slot(const std::string &section, std::size_t width, std::size_t index) {
        const std::string tag = "<" + section + ">";
        const std::string all = bytes();
        return all.substr(all.find(tag) + tag.size() + index * width, width);
    }
    std::string bytes() {
        xxflush(file.handle);
        return host.files.get("out.dta");
    }
    bool holds(const std::string &part) { return bytes().find(part) != std::string::npos; }

    ModuleHost host;
    WatchedFile file{"out.dta", WX_OPEN_OUTPUT};
    std::size_t writes_before_data = 0;
    glue_grammar_struct options{};
    std::unique_ptr<IMGLUE> session = std::make_unique<IMGLUE>();
    outdbsrec out{};
    char message[OUT_MESSAGE_BYTES] = {};

  private:
    std::int32_t write_row(const Row &row) {
        beginoutrec(&out);
        for (std::size_t i = 0; i < row.size(); ++i) {
            const auto *text = std::get_if<std::string>(&row[i]);
            writeit(&out, &variables_[i],
                    text != nullptr ? static_cast<const void *>(text->data()) : std::get_if<mivex_num_struct>(&row[i]));
        }
        return endoutrec(&out);
    }

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

constexpr double minutes_1960 = 31'557'600; // from 1899-12-31 to 1960-01-01

TEST(Writer, AWholeFile) {
    Export file({{.name = "x", .label = "Answer", .labels = {{0, "no"}, {1, "yes"}}},
                 {.name = "s", .type = CLASS_CHARACTER, .length = 3},
                 {.name = "d", .type = CLASS_DATE}});
    ASSERT_EQ(file.write({{number(1), "abc", number(minutes_1960 + 1440)}, {missing('B'), "x  ", missing('.')}}), 0);

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
        std::string release, count;
        std::size_t sort_bytes;
    } cases[] = {
        {32767, "118", std::string("\xFF\x7F", 2), 65536},
        {32768, "119", std::string("\0\x80\0\0", 4), 131076},
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.variables);
        Export file(std::deque<Symbol>(expected.variables, Symbol{.type = CLASS_DATE}));
        ASSERT_EQ(file.write(), 0);
        const std::string bytes = file.bytes();
        EXPECT_TRUE(file.holds("<release>" + expected.release + "</release>"));
        EXPECT_TRUE(file.holds("<K>" + expected.count + "</K>"));
        EXPECT_EQ(bytes.find("</sortlist>") - bytes.find("<sortlist>") - 10, expected.sort_bytes);
        const auto in_map = [&](std::size_t entry) { return bytes.substr(bytes.find("<map>") + 5 + 8 * entry, 8); };
        EXPECT_EQ(in_map(2), little(bytes.find("<variable_types>")));
        EXPECT_EQ(in_map(9), little(bytes.find("<data>")));
        EXPECT_EQ(in_map(13), little(bytes.size()));
    }
}

TEST(Writer, TypesWidthsAndFormats) {
    const struct {
        Symbol symbol;
        std::uint16_t stata_type;
        std::int32_t bytes;
        std::string format;
    } cases[] = {
        {{.type = CLASS_CHARACTER, .length = 0}, 1, 1, "%1s"},
        {{.type = CLASS_CHARACTER, .length = 2045, .format = "hex", .width = 9}, 2045, 2045, "%2045s"},
        {{.type = CLASS_CHARACTER, .length = 2046}, 2045, 2045, "%2045s"},
        {{.type = CLASS_DATE, .format = "date", .width = 9}, 65528, 4, "%td"},
        {{.type = CLASS_TIME, .format = "time", .width = 8}, 65526, 8, "%tcHH:MM:SS"},
        {{.type = CLASS_DATETIME, .format = "datehm", .width = 16}, 65526, 8, "%tc"},
        {{}, 65526, 8, "%12.0g"},
        {{.format = "E", .width = 9}, 65526, 8, "%10.3e"},
        {{.format = "e", .width = 12}, 65526, 8, "%12.5e"},
        {{.type = CLASS_RAW, .width = 1}, 65526, 8, "%1.0g"},
    };
    std::deque<Symbol> symbols;
    std::int64_t record_bytes = 0;
    for (const auto &expected : cases) {
        symbols.push_back(expected.symbol);
        record_bytes += expected.bytes;
    }
    Export file(symbols);
    ASSERT_EQ(file.write(), 0);
    EXPECT_EQ(file.out.outreclen, record_bytes);
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(file.slot("variable_types", 2, i), little(cases[i].stata_type)) << cases[i].format;
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
        ASSERT_EQ(file.write(), 0);
        const std::string names[] = {labels_as_names ? "Income 2020" : "x", "y", std::string(128, 'n'),
                                     labels_as_names ? "Day" : "d"};
        const std::string labels[] = {"Income 2020", "", std::string(320, 'n'), "Day"};
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(file.slot("varnames", 129, i), padded(names[i], 129));
            EXPECT_EQ(file.slot("value_label_names", 129, i), padded(i < 3 ? names[i] : "", 129));
            EXPECT_EQ(file.slot("variable_labels", 321, i), padded(labels[i], 321));
        }
        EXPECT_TRUE(file.holds("<lbl>" + little<std::int32_t>(20) + padded(names[0], 132)));
        EXPECT_TRUE(file.holds(padded(std::string(128, 'n'), 132) + little<std::int32_t>(1)));
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
        {writedouble_missings, missing('_'), bits(0x7FE0000000000000)},
        {writedouble_missings, missing('A'), bits(0x7FE0010000000000)},
        {writedouble_missings, missing('Z'), bits(0x7FE01A0000000000)},
        {writedouble_missings, missing('a'), bits(0x7FE0000000000000)},
        {writedatelong_missings, number(minutes_1960 + 1439), integer(0)},
        {writedatelong_missings, number(minutes_1960 - 1439), integer(0)},
        {writedatelong_missings, number(minutes_1960 + 1440 * 14669.0), integer(14669)}, // 2000-02-29
        {writedatelong_missings, number((21915 + 2147483647.0) * 1440), integer(2147483647)},
        {writedatelong_missings, number((21915 + 2147483648.0) * 1440), integer(INT32_MIN)},
        {writedatelong_missings, number(nan), integer(INT32_MIN)},
        {writedatelong_missings, missing('.'), integer(2147483621)},
        {writedatelong_missings, missing('Z'), integer(2147483647)},
        {writetime_numeric_missings, number(720), little(43'200'000.0)},
        {writedatetime_missings, number(minutes_1960 - 0.5), little(-30'000.0)},
    };
    for (const auto &[encoder, value, bytes] : cases) {
        outdbsrec out{};
        outvarrec variable{};
        std::string target(16, '#');
        encoder(&out, &variable, target.data(), &value);
        EXPECT_EQ(target, bytes + std::string(16 - bytes.size(), '#')) << value.num << ' ' << value.miss_char;
        EXPECT_EQ(out.outcurrcol, std::ssize(bytes));
    }
}

TEST(Writer, Characters) {
    const struct {
        std::string value;
        std::int32_t width;
        std::string slot;
    } cases[] = {
        {"ab   ", 5, "ab"}, {"     ", 5, ""}, {" a \t\r\n", 6, " a"}, {"abcdef", 3, "abc"}, {"#", 0, ""},
    };
    for (const auto &[value, width, slot] : cases) {
        Export file({{.type = CLASS_CHARACTER, .length = width}});
        file.out.outbuffsize = 1; // the first observation leaves its bytes in the buffer for the second to cover
        const auto slot_bytes = static_cast<std::size_t>(std::max(width, 1));
        const std::string first(slot_bytes, '#');
        ASSERT_EQ(file.write({{first}, {value}}), 0);
        EXPECT_TRUE(file.holds("<data>" + (width > 0 ? first : padded("", 1)) + padded(slot, slot_bytes) + "</data>"))
            << value;
    }
}

TEST(Writer, RecordsLeaveInFullBuffers) {
    const struct {
        std::size_t variables, width, rows;
        std::vector<std::int64_t> writes; // of the rows, and the first of the finish
    } cases[] = {
        {1, 100, 0, {7}},
        {1, 100, 320, {32000, 7}},
        {1, 100, 321, {32000, 100, 7}},
        {1, 2000, 40, {32000, 32000, 16000, 7}},
        {20, 2000, 1, {40000, 7}},
    };
    for (const auto &[variables, width, rows, writes] : cases) {
        SCOPED_TRACE(rows);
        Export file(
            std::deque<Symbol>(variables, Symbol{.type = CLASS_CHARACTER, .length = static_cast<std::int32_t>(width)}));
        ASSERT_EQ(file.write(std::vector<Row>(rows, Row(variables, std::string(width, 'r')))), 0);
        const auto first = file.file.requests.begin() + static_cast<std::ptrdiff_t>(file.writes_before_data);
        EXPECT_EQ(std::vector(first, first + std::ssize(writes)), writes);
        EXPECT_TRUE(file.holds("<N>" + little(rows) + "</N>"));
        EXPECT_TRUE(file.holds("<data>" + std::string(variables * width * rows, 'r') + "</data>"));
    }
}

TEST(Writer, ValueLabelTables) {
    // Entries of other kinds stay out; values lose their fraction; the order is the list's.
    Export file({{.name = "a",
                  .labels = {{1.9, "b"}, {5, "range", 0x04}, {-1.9, ""}, {6, "x", 0x10}, {7, "y", 0x41}, {3e9, "c"}}},
                 {.name = "t", .type = CLASS_TIME, .labels = {{1, "one"}}}});
    ASSERT_EQ(file.write(), 0);
    std::string table = "<value_labels><lbl>" + little<std::int32_t>(8 + 24 + 5) + padded("a", 132);
    for (const std::int32_t number : {3, 5, 0, 2, 3, 1, -1, INT32_MIN})
        table += little(number);
    EXPECT_TRUE(file.bytes().ends_with(table + std::string("b\0\0c\0", 5) + "</lbl></value_labels></stata_dta>"));

    // A table far longer than the record buffer it passes through.
    std::vector<Label> many;
    for (int i = 0; i < 3000; ++i)
        many.push_back({static_cast<double>(i), "label " + std::to_string(i)});
    Export large({{.name = "a", .labels = many}});
    large.out.outbuffsize = 1;
    ASSERT_EQ(large.write(), 0);
    EXPECT_TRUE(large.holds(padded("label 2998", 11) + padded("label 2999", 11) + "</lbl></value_labels>"));
}

TEST(Writer, FailuresEndTheExport) {
    std::int32_t status = ERROR_WRITE;
    for (int writes = 0; status != 0; ++writes) {
        Export file({{.name = "x", .labels = {{0, "no"}}}});
        file.file.transfers_left = writes;
        status = file.write({{number(1)}});
        EXPECT_TRUE(status == ERROR_WRITE || status == ERROR_SEEK || (status == 0 && writes > 30))
            << status << " after " << writes;
    }
    Export unknown_position({{.name = "x"}});
    unknown_position.file.handle->note = [](WX_FILE *, void *) { return 17; };
    EXPECT_EQ(unknown_position.write(), ERROR_SEEK);
    Export immovable({{.name = "x"}});
    immovable.file.handle->point = [](WX_FILE *, const void *) { return 17; };
    EXPECT_EQ(immovable.write(), ERROR_SEEK);
    EXPECT_EQ(Export({}).write(), ERROR_NO_VARIABLES);
}

} // namespace
} // namespace vor::test
