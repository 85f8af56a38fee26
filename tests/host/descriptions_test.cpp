// Formats, numbers as text and labels of a data set, and schemas: what comes back, what may be left out and what is
// refused.
#include "collected_import.h"
#include "packed_bytes.h"
#include "tables_in_memory.h"

#include <vorhost/dataset.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/user_format.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace vor {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Formats, TextBothWays) {
    EXPECT_EQ(parse_format("$10."), (Format{"$", 10, 0}));
    EXPECT_EQ(parse_format("E8601DA12.4"), (Format{"E8601DA", 12, 4}));
    EXPECT_EQ(parse_format("age_1A."), (Format{"age_1A", 0, 0}));
    for (const char *text : {"", "9.2", "$10.", "E8601DA12.4", "age_1A."})
        EXPECT_EQ(format_text(parse_format(text)), text);
    for (const char *text : {"AGE", ".", ".2", "A GE.", "8.x", "$$5.", "DATE9.2.1", "F99999999999.", "AGE-1."})
        EXPECT_EQ(parse_format(text), Format{}) << text;
}

void expect_number(const char *text, double value) {
    const auto back = parse_number_text(text);
    ASSERT_TRUE(back) << text;
    EXPECT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value)) << text;
}

TEST(Numbers, Texts) {
    const std::pair<const char *, double> written[] = {
        {"-0", -0.0},
        {"-12.5", -12.5},
        {"1e+05", 1e5},
        {"5e-324", 5e-324},
        {"-inf", -infinity},
        {".", missing_value('.')},
        {"._", missing_value('_')},
        {".z", missing_value('Z')},
    };
    for (const auto &[text, value] : written) {
        EXPECT_EQ(number_text(value), text);
        expect_number(text, value);
    }
    const std::pair<const char *, double> also_read[] = {
        {" 007 ", 7},
        {".5", 0.5},
        {"5.", 5},
        {"1E3", 1000},
        {".Q", missing_value('q')},
        {"", missing_value('.')},
        {"9007199254740993", 9007199254740992.0},
        {"0.30000000000000004", 0.1 + 0.2},
        {"123456789012345678901234567890", 123456789012345678901234567890.0}};
    for (const auto &[text, value] : also_read)
        expect_number(text, value);
    for (const char *text : {"+1", "1 2", "0x10", "1e999", "1e", "-", "--1", "1.2.3", "1,5", "INF", "NaN", ".1a", ".ab",
                             "._x", "e5", "-.", "1_000"})
        EXPECT_EQ(parse_number_text(text), std::nullopt) << text;
}

// The shortest text there is, by the standard library, and one that reads back to the same double: any bits, decimals
// of every count and size, their neighbours, and numbers that were narrow ones.
TEST(Numbers, EveryDoubleComesBackFromItsShortestText) {
    std::mt19937_64 random(11);
    for (int i = 0; i < 400000; ++i) {
        double value = std::bit_cast<double>(random());
        const double power = std::pow(10, static_cast<double>(random() % 9));
        if (i % 4 != 0)
            value = std::round(std::fmod(value, std::pow(10, static_cast<double>(random() % 17)))) / power;
        if (i % 4 == 2)
            value = std::nextafter(value, 0);
        if (i % 4 == 3)
            value = static_cast<float>(value);
        if (!std::isfinite(value))
            continue;
        std::array<char, 32> shortest{};
        const char *end = std::to_chars(shortest.begin(), shortest.end(), value).ptr;
        const std::string text = number_text(value);
        ASSERT_EQ(text, std::string_view(shortest.begin(), static_cast<size_t>(end - shortest.begin())));
        const auto back = parse_number_text(text);
        ASSERT_TRUE(back) << text;
        ASSERT_EQ(std::bit_cast<uint64_t>(*back), std::bit_cast<uint64_t>(value)) << text;
    }
}

TEST(Labels, FoundByValueIntervalAndMark) {
    const double none = missing_value('.');
    const double refused = missing_value('A');
    const UserFormat numbers{.name = "F",
                             .ranges = {{none, none, {"none"}},
                                        {refused, refused, {"refused"}},
                                        {0.0, 10.0, {"low", "second label"}},
                                        {5.0, 20.0, {"high"}},
                                        {7.0, 7.0, {"seven"}},
                                        {7.0, 7.0, {"seven again"}},
                                        {0.0, 0.0, {"zero"}}}};
    const UserFormat texts{
        .name = "$F", .kind = ValueKind::character, .ranges = {{"m", "m", {"male"}}, {"x", "z", {"other"}}}};
    const LabelIndex of_numbers(numbers);
    const LabelIndex of_texts(texts);
    const auto shown = [](const std::string *label) { return label ? *label : "no label"; };
    const struct {
        const char *label;
        std::vector<double> values;
    } cases[] = {{"none", {none}},
                 {"refused", {refused}},
                 {"low", {3, 10}},
                 {"high", {10.5, 20}},
                 {"seven", {7}},
                 {"zero", {-0.0}},
                 {"no label", {20.5, -1, missing_value('B'), std::nan("")}}};
    for (const auto &[label, values] : cases)
        for (const double value : values)
            EXPECT_EQ(shown(of_numbers.find(value)), label) << value;
    EXPECT_EQ(shown(of_texts.find("m")), "male");
    EXPECT_EQ(shown(of_texts.find("y")), "other");
    EXPECT_EQ(shown(of_texts.find("mm")), "no label");
}

} // namespace
} // namespace vor

namespace vor::test {
namespace {

using namespace std::string_literals;

constexpr double infinity = std::numeric_limits<double>::infinity();
const double none = missing_value('.');

Schema rich_schema() {
    Schema schema;
    schema.description = {"people", "A \"label\"\nof two lines", {}, -1};
    Variable age = numeric("age", "AGE.");
    age.label = "Age \xC3\xA9";
    Variable odd = numeric("odd");
    odd.format = {"AB1", 0, 0}; // as text it would be AB with width 1
    odd.length = 4;
    schema.description.variables = {age, odd, numeric("d", "MMDDYY8."), character("s", 9), numeric("f", "9.2")};
    UserFormat numbers{"AGE", ValueKind::numeric, true, {}, 7};
    numbers.ranges = {{none, none, {"none"}},
                      {missing_value('B'), missing_value('C'), {"refused"}},
                      {-1e300, -0.1, {"low"}},
                      {1.0, 1.0, {"one", "uno", ""}},
                      {2.0, infinity, {"many"}}};
    UserFormat texts{"$SEX", ValueKind::character, false, {}, 4};
    texts.ranges = {{".a"s, ".a"s, {"mark?"}}, {"m"s, "m"s, {"male"}}};
    schema.formats = {numbers, texts};
    return schema;
}

TEST(Schema, ComesBackWholeAlsoCompressed) {
    const Schema schema = rich_schema();
    for (const std::string name : {"s.json", "s.json.gz", "s.json.zip"}) {
        SCOPED_TRACE(name);
        const ScratchDirectory scratch;
        const std::string path = scratch.path(name);
        write_schema(path, schema);
        const Schema back = read_schema(path);
        EXPECT_EQ(back.description, schema.description);
        EXPECT_EQ(back.formats, schema.formats);
        EXPECT_EQ(scratch.names(), std::vector<std::string>{name});
        if (name == "s.json")
            continue;
        const std::vector<Member> members = unpacked(file_bytes(path));
        ASSERT_EQ(members.size(), 1U);
        EXPECT_EQ(members[0].name, name == "s.json.zip" ? "s.json" : "data");
        EXPECT_EQ(members[0].bytes, schema_json(schema));
        const std::string cut = scratch.write("cut.json", file_bytes(path).substr(0, 100));
        EXPECT_TRUE(sentence_of([&] { read_schema(cut); }).starts_with("c: " + cut + ": the "));
    }
}

TEST(Schema, PeopleMayLeaveThingsOut) {
    const Schema schema = parse_schema(R"({"variables": [{"name": "x", "type": "numeric", "length": 8.0}],
        "formats": [{"name": "F", "type": "numeric", "ranges": [{"value": ".A", "labels": ["abc"]}]}]})",
                                       "s.json");
    EXPECT_EQ(schema.description.variables, std::vector<Variable>{numeric("x")});
    EXPECT_EQ(schema.formats.at(0).default_width, 3);
    EXPECT_EQ(Cell(std::get<double>(schema.formats[0].ranges.at(0).start)), Cell(missing_value('A')));
}

void expect_refusals(const std::string &before, const std::string &behind, const std::string &place,
                     const std::vector<std::pair<const char *, const char *>> &cases) {
    for (const auto &[text, sentence] : cases)
        EXPECT_EQ(sentence_of([&] { parse_schema(before + text + behind, "s.json"); }), "c: s.json" + place + sentence)
            << text;
}

TEST(Schema, RefusesAtThePlace) {
    expect_refusals("", "", "", {{"[]", ": an object was expected."}, {"{}", ": the key \"variables\" is missing."}});
    expect_refusals(
        R"({"variables": [)", "]}", ", variable 1",
        {{"5", ": an object was expected."},
         {R"({"name": "", "type": "numeric", "length": 8})", ": the name is empty."},
         {R"({"name": 1})", ", name: a text was expected."},
         {R"({"name": "x", "type": "date"})", ", type: \"date\" is neither \"numeric\" nor \"character\"."},
         {R"({"name": "x", "type": "numeric", "length": 0})", ", length: an integer from 1 to 8 was expected."},
         {R"({"name": "x", "type": "numeric", "length": 7.5})", ", length: an integer from 1 to 8 was expected."},
         {R"({"name": "x", "type": "numeric", "length": 1e300})", ", length: an integer from 1 to 8 was expected."},
         {R"({"name": "x", "type": "numeric", "length": 8, "format": "DA"})", ", format: \"DA\" is no format."}});
    expect_refusals(
        R"({"variables": [], "formats": [{"name": "F", "type": "numeric", "ranges": )", "}]}", ", format 1",
        {{"3", ", ranges: an array was expected."},
         {R"([{"value": "yes"}])", ", range 1: a number or a missing value such as \".a\" was expected."},
         {R"([{"value": 1, "labels": ["a"]}, {"from": 1, "labels": ["a"]}])", ", range 2: the key \"to\" is missing."},
         {R"([{"value": 1, "labels": []}])", ", range 1: it has no label."}});
}

TEST(Schema, SaysWhatIsNotJson) {
    EXPECT_TRUE(sentence_of([] {
                    parse_schema("{\"variables\": [", "s.json");
                }).starts_with("c: s.json is not JSON: parse error at line 1, column 16"));
    EXPECT_TRUE(sentence_of([] { parse_schema(std::string(1 << 16, '['), "s.json"); }).starts_with("c: s.json is not"));
    Schema broken = rich_schema();
    broken.description.variables[0].label = "\xFF";
    EXPECT_EQ(sentence_of([&] { schema_json(broken); }),
              "c: The schema cannot be written: a name or a label holds bytes that are not UTF-8.");
}

// Text that types found from values would change comes back as it was.
TEST(Schema, BesideATextNothingIsLost) {
    const Schema schema = rich_schema();
    const Table table{schema.description,
                      {{1, -0.0, 14669, "1960", 0.1},
                       {missing_value('A'), 5e-324, 0.5, ".", none},
                       {none, 2, missing_value('Z'), "a\0b"s, infinity},
                       {2.5, none, 2936550, "", -1}}};
    const ScratchDirectory scratch;
    DelimitedOptions options;
    options.formats = [&](const std::string &name) { return name == "AGE" ? &schema.formats[0] : nullptr; };
    for (const LabelForm form : {LabelForm::codes, LabelForm::both}) {
        for (const bool raw : {false, true}) {
            options.labels = form;
            options.raw = raw;
            put(*delimited_sink(scratch.path("out.csv"), options), table);
            const Table back = collect(*delimited_source(scratch.path("out.csv"), ',', &schema));
            EXPECT_EQ(back.description.variables, table.description.variables);
            EXPECT_EQ(back.rows, table.rows);
        }
    }
}

TEST(Schema, TextThatDoesNotFit) {
    Schema schema;
    schema.description.variables = {numeric("n"), numeric("d", "DATE9."), character("s", 2)};
    const std::string unfit = " does not fit the schema: ";
    const std::pair<const char *, std::string> cases[] = {
        {"n,d\n", unfit + "the schema describes 3 variables, of which s and those after it are not in the file."},
        {"n,x,s\n", unfit + "column 2 is called x, the schema expects d."},
        {"n,d,s,n_label\n", unfit + "column 4 is called n_label, the schema describes no more columns."},
        {"n,d,s\n1,2,x\n2000-01-01,2,x\n", ": row 2 (line 3), column 1 (n): \"2000-01-01\" is not a number."},
        {"n,d,s\n1,12:00:00,x\n",
         ": row 1 (line 2), column 2 (d): \"12:00:00\" is not a number, date or time as it was expected."},
        {"n,d,s\n1,2,xyz\n", ": row 1 (line 2), column 3 (s): the text has 3 bytes, 2 were expected at most."},
    };
    const ScratchDirectory scratch;
    for (const auto &[text, sentence] : cases) {
        const std::string path = scratch.write("in.csv", text);
        EXPECT_EQ(sentence_of([&] { collect(*delimited_source(path, ',', &schema)); }), "c: " + path + sentence);
    }
}

} // namespace
} // namespace vor::test
