// The Stata writer: the bytes of header, descriptors, records and value labels, worked out by hand from the layout.
#include "collected_import.h"
#include "imstata_writing.h"
#include "output_records.h"

#include <vor/imglue.h>
#include <vorhost/missing.h>

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

using Row = std::vector<std::variant<double, std::string>>;

Variable numeric(const std::string &name, const Format &format = {}, const std::string &label = {}) {
    return {name, label, ValueKind::numeric, 8, format, {}};
}
Variable character(int length) {
    return {"s", "", ValueKind::character, length, {}, {}};
}

// A file written into memory.
class Export {
  public:
    // The sentence of the failure, or nothing.
    std::string write(const std::vector<Variable> &variables, const std::vector<Row> &rows = {}) {
        DataSet description;
        description.variables = variables;
        host_options.catalogs = &catalogs;
        try {
            ExportSession session(host.options(host_options), options, "/memory/out.dta", description);
            for (const Row &row : rows) {
                Batch batch;
                batch.start(variables, 0);
                for (std::size_t i = 0; i < row.size(); ++i)
                    if (const auto *text = std::get_if<std::string>(&row[i]))
                        batch.columns[i].append_text(*text);
                    else
                        batch.columns[i].append(std::get<double>(row[i]));
                batch.end_row(1);
                session.put(batch);
            }
            session.finish();
        } catch (const ConversionError &error) {
            return error.what();
        }
        bytes = host.files.get("/memory/out.dta");
        return {};
    }

    // The slot of a variable in a section of fixed-width slots.
    std::string slot(const std::string &section, std::size_t width, std::size_t index) const {
        return bytes.substr(bytes.find("<" + section + ">") + section.size() + 2 + index * width, width);
    }
    bool holds(const std::string &part) const { return bytes.find(part) != std::string::npos; }

    HostResources host;
    HostOptions host_options;
    CatalogMap catalogs;
    ExportSession::Options options{.contract = Contract::base};
    std::string bytes;
};

TEST(Writer, AWholeFile) {
    Export file;
    file.catalogs.formats["YN"] = {.name = "YN", .ranges = {{0.0, 0.0, {"no"}}, {1.0, 1.0, {"yes"}}}};
    ASSERT_EQ(file.write({numeric("x", {"YN", 0, 0}, "Answer"), character(3), numeric("d", {"DATE", 9, 0})},
                         {{1.0, "abc", 1.0}, {missing_value('B'), "x  ", missing_value('.')}}),
              "");

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
    EXPECT_EQ(file.bytes, expected);
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
        std::vector<Variable> variables(expected.variables);
        for (std::size_t i = 0; i < variables.size(); ++i)
            variables[i].name = "v" + std::to_string(i);
        Export file;
        ASSERT_EQ(file.write(variables), "");
        const std::string &bytes = file.bytes;
        EXPECT_TRUE(file.holds("<release>" + expected.release + "</release>"));
        EXPECT_TRUE(file.holds("<K>" + expected.count + "</K>"));
        EXPECT_EQ(bytes.find("</sortlist>") - bytes.find("<sortlist>") - 10, expected.sort_bytes);
        EXPECT_EQ(file.slot("map", 8, 2), little(bytes.find("<variable_types>")));
        EXPECT_EQ(file.slot("map", 8, 9), little(bytes.find("<data>")));
        EXPECT_EQ(file.slot("map", 8, 13), little(bytes.size()));
    }
}

TEST(Writer, TypesWidthsAndFormats) {
    const struct {
        Variable variable;
        std::uint16_t stata_type;
        std::string format;
    } cases[] = {
        {character(1), 1, "%1s"},
        {character(2045), 2045, "%2045s"},
        {character(2046), 2045, "%2045s"},
        {numeric("v", {"DATE", 9, 0}), 65528, "%td"},
        {numeric("v", {"TIME", 8, 0}), 65526, "%tcHH:MM:SS"},
        {numeric("v", {"DATETIME", 16, 0}), 65526, "%tc"},
        {numeric("v"), 65526, "%12.0g"},
        {numeric("v", {"E", 9, 0}), 65526, "%10.3e"},
        {numeric("v", {"E", 12, 0}), 65526, "%12.5e"},
        {numeric("v", {"", 1, 0}), 65526, "%1.0g"},
        {numeric("v", {"BEST", 999, 0}), 65526, "%244.0g"},
        {numeric("v", {"E", 999, 0}), 65526, "%244.237e"},
    };
    std::vector<Variable> variables;
    for (const auto &expected : cases) {
        variables.push_back(expected.variable);
        variables.back().name = "v" + std::to_string(variables.size());
    }
    Export file;
    Row row{"a", "b", "c"};
    row.resize(variables.size(), missing_value('.'));
    ASSERT_EQ(file.write(variables, {row}), "");
    EXPECT_EQ(file.bytes.find("</data>") - file.bytes.find("<data>") - 6, 1 + 2045 + 2045 + 4 + 8 * 8u);
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(file.slot("variable_types", 2, i), little(cases[i].stata_type)) << cases[i].format;
        EXPECT_EQ(file.slot("formats", 57, i), padded(cases[i].format, 57));
    }
}

TEST(Writer, NamesAndLabels) {
    std::string accents; // 200 bytes in the session, 400 in the file
    while (accents.size() < 400)
        accents += "\xC3\xA9";
    for (const bool labels_as_names : {false, true}) {
        Export file;
        file.catalogs.formats["ONE"] = {.name = "ONE", .ranges = {{1.0, 1.0, {"one"}}}};
        file.host_options.session_encoding = "latin1";
        file.options.labels_as_names = labels_as_names;
        ASSERT_EQ(file.write({numeric("x", {"ONE", 0, 0}, "Income 2020"), numeric("y", {"ONE", 0, 0}),
                              numeric("z", {"ONE", 0, 0}, accents), numeric("d", {"DATE", 9, 0}, "Day")}),
                  "");
        // The host makes a valid name of at most 32 characters of each label before it hands it over.
        const std::string labels[] = {labels_as_names ? "Income_2020" : "Income 2020", "",
                                      accents.substr(0, labels_as_names ? 64 : 320), "Day"};
        std::string names[] = {"x", "y", "z", "d"};
        for (const std::size_t i : {0u, 2u, 3u})
            names[i] = labels_as_names ? labels[i] : names[i];
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(file.slot("varnames", 129, i), padded(names[i], 129));
            EXPECT_EQ(file.slot("value_label_names", 129, i), padded(i < 3 ? names[i] : "", 129));
            EXPECT_EQ(file.slot("variable_labels", 321, i), padded(labels[i], 321));
            EXPECT_EQ(file.holds("<lbl>" + little<std::int32_t>(20) + padded(names[i], 132)), i < 3);
        }
    }
}

TEST(Writer, Numbers) {
    constexpr double minutes_1960 = 31'557'600; // from 1899-12-31 to 1960-01-01
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const auto integer = [](std::int32_t value) { return little(value); };
    const auto bits = [](std::uint64_t pattern) { return little(pattern); };
    const struct {
        outnamefunct_type encoder;
        mivex_num_struct value;
        std::string bytes;
    } cases[] = {
        {writedouble_missings, {0.1, 'B'}, little(0.1)},
        {writedouble_missings, {MISSING_SENTINEL, '_'}, bits(0x7FE0000000000000)},
        {writedouble_missings, {MISSING_SENTINEL, 'A'}, bits(0x7FE0010000000000)},
        {writedouble_missings, {MISSING_SENTINEL, 'Z'}, bits(0x7FE01A0000000000)},
        {writedouble_missings, {MISSING_SENTINEL, 'a'}, bits(0x7FE0000000000000)},
        {writedatelong_missings, {minutes_1960 + 1439, 0}, integer(0)},
        {writedatelong_missings, {minutes_1960 - 1439, 0}, integer(0)},
        {writedatelong_missings, {minutes_1960 + 1440 * 14669.0, 0}, integer(14669)}, // 2000-02-29
        {writedatelong_missings, {(21915 + 2147483647.0) * 1440, 0}, integer(2147483647)},
        {writedatelong_missings, {(21915 + 2147483648.0) * 1440, 0}, integer(INT32_MIN)},
        {writedatelong_missings, {nan, 0}, integer(INT32_MIN)},
        {writedatelong_missings, {MISSING_SENTINEL, '.'}, integer(2147483621)},
        {writedatelong_missings, {MISSING_SENTINEL, 'Z'}, integer(2147483647)},
        {writetime_numeric_missings, {720, 0}, little(43'200'000.0)},
        {writedatetime_missings, {minutes_1960 - 0.5, 0}, little(-30'000.0)},
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
    const std::string buffer(32000, '#'); // leaves its bytes for the next observations to cover
    std::vector<Row> rows(16, Row{buffer.substr(0, 2000)});
    std::string data = buffer;
    for (const auto &[value, kept] : {std::pair{"ab   ", "ab"}, {"", ""}, {" a \t\r\n", " a"}}) {
        rows.push_back({value});
        data += padded(kept, 2000);
    }
    Export file;
    ASSERT_EQ(file.write({character(2000)}, rows), "");
    EXPECT_TRUE(file.holds("<data>" + data + "</data>"));
}

TEST(Writer, EveryRecordLeavesItsBuffer) {
    const struct {
        std::size_t variables;
        int width;
        std::size_t rows;
    } cases[] = {{1, 100, 0}, {1, 100, 319}, {1, 100, 320}, {1, 100, 321}, {20, 2000, 2}};
    for (const auto &[variables, width, rows] : cases) {
        SCOPED_TRACE(rows);
        const std::string value(static_cast<std::size_t>(width), 'r');
        Export file;
        ASSERT_EQ(file.write(std::vector(variables, character(width)), std::vector<Row>(rows, Row(variables, value))),
                  "");
        EXPECT_TRUE(file.holds("<N>" + little(rows) + "</N>"));
        EXPECT_TRUE(file.holds("<data>" + std::string(variables * value.size() * rows, 'r') + "</data>"));
    }
}

TEST(Writer, ValueLabelTables) {
    // Intervals stay out; values lose their fraction.
    Export file;
    file.catalogs.formats["A"] = {
        .name = "A", .ranges = {{-1.9, -1.9, {""}}, {1.9, 1.9, {"b"}}, {5.0, 6.0, {"range"}}, {3e9, 3e9, {"c"}}}};
    ASSERT_EQ(file.write({numeric("a", {"A", 0, 0})}), "");
    std::string table = "<value_labels><lbl>" + little<std::int32_t>(8 + 24 + 5) + padded("a", 132);
    for (const std::int32_t number : {3, 5, 0, 1, 3, -1, 1, INT32_MIN})
        table += little(number);
    EXPECT_TRUE(file.bytes.ends_with(table + std::string("\0b\0c\0", 5) + "</lbl></value_labels></stata_dta>"));

    // A table far longer than the record buffer it passes through.
    UserFormat many = file.catalogs.formats["A"];
    many.ranges.clear();
    for (int i = 0; i < 3000; ++i)
        many.ranges.push_back({i * 1.0, i * 1.0, {"label " + std::to_string(i)}});
    file.catalogs.formats["A"] = many;
    ASSERT_EQ(file.write({numeric("a", {"A", 0, 0})}), "");
    EXPECT_TRUE(file.holds(padded("label 2998", 11) + padded("label 2999", 11) + "</lbl></value_labels>"));
}

TEST(Writer, NeedsAVariable) {
    EXPECT_EQ(Export().write({}), "/memory/out.dta: There are no variables for the output file.");
}

} // namespace
} // namespace vor::test
