// Schemas: nothing of a description is lost, and one that does not fit is refused at its place.
#include "collected_import.h"
#include "packed_bytes.h"
#include "tables_in_memory.h"

#include <vorhost/tables.h>

#include <limits>

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

// What else a Stata file says.
Schema stata_schema() {
    Schema schema = rich_schema();
    DataSet &data = schema.description;
    data.timestamp = "23 Nov 2026 10:00";
    data.sort = {"when", "age"};
    data.characteristics = {{"_dta", "note1", "two\nlines"}, {"age", "source", ""}};
    data.label_tables = {schema.formats[0], schema.formats[0]};
    data.label_tables[1].name = "unused";
    data.variables[0].label_table = "AGE";
    data.variables[0].stored = StoredType::int8;
    data.variables[3].stored = StoredType::text;
    data.variables.push_back(shown("when", "%-tcHH:MM", StoredType::int32));
    data.variables.push_back(character("long", 4000));
    data.variables.back().stored = StoredType::long_text;
    schema.raw = true;
    return schema;
}

TEST(Schema, ComesBackWholeAlsoCompressed) {
    const Schema schema = stata_schema();
    for (const std::string name : {"s.json", "s.json.gz", "s.json.zip"}) {
        SCOPED_TRACE(name);
        const ScratchDirectory scratch;
        const std::string path = scratch.path(name);
        write_schema(path, schema);
        const Schema back = read_schema(path);
        EXPECT_EQ(back.description, schema.description);
        EXPECT_EQ(back.formats, schema.formats);
        EXPECT_TRUE(back.raw);
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
         {R"({"name": "x", "type": "numeric", "length": 8, "label": "a\u0000b"})",
          ", label: the text holds the character \\u0000."},
         {R"({"name": "x", "type": "date"})", ", type: \"date\" is neither \"numeric\" nor \"character\"."},
         {R"({"name": "x", "type": "numeric", "length": 0})", ", length: an integer from 1 to 8 was expected."},
         {R"({"name": "x", "type": "numeric", "length": 7.5})", ", length: an integer from 1 to 8 was expected."},
         {R"({"name": "x", "type": "numeric", "length": 1e300})", ", length: an integer from 1 to 8 was expected."},
         {R"({"name": "x", "type": "numeric", "length": 8, "format": "DA"})", ", format: \"DA\" is no format."},
         {R"({"name": "x", "type": "numeric", "length": 8, "stored": "str8"})",
          ", stored: \"str8\" does not say how numeric values are stored."}});
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
    EXPECT_TRUE(
        sentence_of([] { parse_schema(std::string(1 << 16, '['), "s.json"); }).starts_with("c: s.json: brackets"));
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
            const Table back = collect(*delimited_source(scratch.path("out.csv"), {.schema = &schema}));
            EXPECT_EQ(back.description.variables, table.description.variables);
            EXPECT_EQ(back.rows, table.rows);
        }
    }
}

// In the units that Stata counts in; a float has the text of a float.
TEST(Schema, BesideTheValuesOfAStataFileNothingIsLost) {
    Schema schema;
    schema.description.variables = {shown("c", "%tc"),
                                    shown("lc", "%tC"),
                                    shown("t", "%tcHH:MM:SS"),
                                    shown("d", "%td"),
                                    shown("w", "%tw"),
                                    shown("m", "%tm"),
                                    shown("q", "%-tq"),
                                    shown("h", "%th"),
                                    shown("y", "%ty"),
                                    shown("g", "%tg"),
                                    character("s", 6),
                                    character("l", 11),
                                    shown("f", "%9.0g", StoredType::float32)};
    schema.description.variables[11].stored = StoredType::long_text;
    const double single = 9.99F;
    Table table{
        schema.description,
        {{1267446896789.0, 1483228826999.0, 45296789, 14669, -1, -23, 0, 81, 1500, 7, "end  ", "base64:QQ==", single},
         {-1.5, 63072000000.0, 86400000, -1, 3000, 2999, -3000, -1, 9999, none, "", "text:x", -0.1F},
         {4e14, none, -1, 1e9, 1.5, missing_value('A'), 1e6, 0, 10000, 0, " ", "\xFF\x00\x01"s, 100000},
         {none, none, none, none, none, none, none, none, none, none, "", "\xFF", 1e-20F}}};
    const std::string expected =
        "c,lc,t,d,w,m,q,h,y,g,s,l,f\n"
        "2000-02-29T12:34:56.789,2007-01-01T00:00:03.999,12:34:56.789,2000-02-29,1959-12-24,1958-02-01,1960-01-01,"
        "2000-07-01,1500-01-01,7,end  ,text:base64:QQ==,9.99\n";
    const ScratchDirectory scratch;
    CapturedLog log;
    for (const bool raw : {false, true}) {
        SCOPED_TRACE(raw);
        schema.raw = raw;
        put(*delimited_sink(scratch.path("out.csv"), {.raw = raw, .log = &log}), table);
        if (!raw) {
            EXPECT_EQ(file_bytes(scratch.path("out.csv")).substr(0, expected.size()), expected);
        }
        const Table back = collect(*delimited_source(scratch.path("out.csv"), {.schema = &schema, .log = &log}));
        EXPECT_EQ(back.description.variables, table.description.variables);
        EXPECT_EQ(back.rows, table.rows);
        table.rows.erase(table.rows.begin() + 2); // its periods are in no year that days could say
    }
}

TEST(Schema, DatesInsideAPeriodAreAWarning) {
    Schema schema;
    schema.description.variables = {shown("m", "%tm")};
    const ScratchDirectory scratch;
    CapturedLog log;
    const auto source = delimited_source(scratch.write("in.csv", "m\n2000-02-01\n2000-02-02\n2000-02-29\n"),
                                         {.schema = &schema, .log = &log});
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_EQ(collect(*source).rows, (Cells{{481}, {481}, {481}}));
        EXPECT_TRUE(source->rewind());
    }
    EXPECT_EQ(log.lines, std::vector<std::string>{"WARNING: Variable m: 2 values inside a period, taken as the "
                                                  "whole of it, first in observation 2."});
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
        {"n,d,s\n1,2,xyz\n", ": row 1 (line 2), column 3 (s): the text has 3 bytes; at most 2 fit."},
    };
    const ScratchDirectory scratch;
    for (const auto &[text, sentence] : cases) {
        const std::string path = scratch.write("in.csv", text);
        EXPECT_EQ(sentence_of([&] { collect(*delimited_source(path, {.schema = &schema})); }), "c: " + path + sentence);
    }
}

} // namespace
} // namespace vor::test
