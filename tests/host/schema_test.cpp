// Schemas: nothing of a description is lost, and one that does not fit is refused at its place.
#include "tables_in_memory.h"

#include <vorhost/tables.h>

#include <limits>

namespace vor::test {
namespace {

using namespace std::string_literals;

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
    numbers.ranges = {{missing_value('.'), missing_value('.'), {"none"}},
                      {missing_value('B'), missing_value('C'), {"refused"}},
                      {-1e300, -0.1, {"low"}},
                      {1.0, 1.0, {"one", "uno", ""}},
                      {2.0, std::numeric_limits<double>::infinity(), {"many"}}};
    UserFormat texts{"$SEX", ValueKind::character, false, {}, 4};
    texts.ranges = {{".a"s, ".a"s, {"mark?"}}, {"m"s, "m"s, {"male"}}};
    schema.formats = {numbers, texts};
    return schema;
}

TEST(Schema, ComesBackWhole) {
    const Scratch scratch;
    const Schema schema = rich_schema();
    write_schema(scratch.file("s.json"), schema);
    const Schema back = read_schema(scratch.file("s.json"));
    EXPECT_EQ(back.description, schema.description);
    EXPECT_EQ(back.formats, schema.formats);
    EXPECT_EQ(scratch.files(), std::vector<std::string>{"s.json"});
}

TEST(Schema, PeopleMayLeaveThingsOut) {
    const Schema schema = parse_schema(R"({"variables": [{"name": "x", "type": "numeric", "length": 8.0}],
        "formats": [{"name": "F", "type": "numeric", "ranges": [{"value": ".A", "labels": ["abc"]}]}]})",
                                       "s.json");
    EXPECT_EQ(schema.description.variables, std::vector<Variable>{numeric("x")});
    EXPECT_EQ(schema.formats.at(0).default_width, 3);
    EXPECT_EQ(Cell(std::get<double>(schema.formats[0].ranges.at(0).start)), Cell(missing_value('A')));
}

TEST(Schema, RefusesAtThePlace) {
    const std::string good_variable = R"({"name": "x", "type": "numeric", "length": 8)";
    const auto variables = [](const std::string &list) { return "{\"variables\": [" + list + "]}"; };
    const auto ranges = [](const std::string &list) {
        return R"({"variables": [], "formats": [{"name": "F", "type": "numeric", "ranges": [)" + list + "]}]}";
    };
    const struct {
        std::string text;
        const char *sentence;
    } cases[] = {
        {"[]", "s.json: an object was expected."},
        {"{}", "s.json: the key \"variables\" is missing."},
        {R"({"variables": {}})", "s.json, variables: an array was expected."},
        {variables(good_variable + "}, 5"), "s.json, variable 2: an object was expected."},
        {variables(R"({"type": "numeric"})"), "s.json, variable 1: the key \"name\" is missing."},
        {variables(R"({"name": "", "type": "numeric", "length": 8})"), "s.json, variable 1: the name is empty."},
        {variables(R"({"name": 1})"), "s.json, variable 1, name: a text was expected."},
        {variables(R"({"name": "x", "type": "date"})"),
         "s.json, variable 1, type: \"date\" is neither \"numeric\" nor \"character\"."},
        {variables(R"({"name": "x", "type": "character", "length": 0})"),
         "s.json, variable 1, length: an integer from 1 to 2000000000 was expected."},
        {variables(R"({"name": "x", "type": "numeric", "length": 7.5})"),
         "s.json, variable 1, length: an integer from 1 to 8 was expected."},
        {variables(R"({"name": "x", "type": "character", "length": 1e300})"),
         "s.json, variable 1, length: an integer from 1 to 2000000000 was expected."},
        {variables(good_variable + R"(, "format": "MMDDYY"})"), "s.json, variable 1, format: \"MMDDYY\" is no format."},
        {ranges(R"({"value": "yes", "labels": ["a"]})"),
         "s.json, format 1, range 1: a number or a missing value such as \".a\" was expected."},
        {ranges(R"({"from": 1, "labels": ["a"]})"), "s.json, format 1, range 1: the key \"to\" is missing."},
        {ranges(R"({"value": 1, "labels": []})"), "s.json, format 1, range 1: it has no label."},
        {R"({"variables": [], "formats": 3})", "s.json, formats: an array was expected."},
    };
    for (const auto &row : cases)
        EXPECT_EQ(sentence_of([&] { parse_schema(row.text, "s.json"); }), "c: "s + row.sentence) << row.text;
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
    Schema schema = rich_schema();
    const double none = missing_value('.');
    Table table{schema.description,
                {{1, -0.0, 14669, "1960", 0.1},
                 {missing_value('A'), 5e-324, 0.5, ".", none},
                 {none, 2, missing_value('Z'), "a\0b"s, std::numeric_limits<double>::infinity()},
                 {2.5, none, 2936550, "", -1}}};
    DelimitedOptions options;
    options.formats = [&](const std::string &name) { return name == "AGE" ? &schema.formats[0] : nullptr; };
    for (const LabelForm form : {LabelForm::codes, LabelForm::both}) {
        for (const bool raw : {false, true}) {
            const Scratch scratch;
            options.labels = form;
            options.raw = raw;
            put(*delimited_sink(scratch.file("out.csv"), options), table);
            auto source = delimited_source(scratch.file("out.csv"), ',', &schema);
            const Table back = collect(*source);
            EXPECT_EQ(back.description.variables, table.description.variables);
            EXPECT_EQ(back.rows, table.rows);
        }
    }
}

TEST(Schema, TextThatDoesNotFit) {
    Schema schema;
    schema.description.variables = {numeric("n"), numeric("d", "DATE9."), character("s", 2)};
    const struct {
        const char *text;
        const char *sentence;
    } cases[] = {
        {"n,d\n",
         " does not fit the schema: the schema describes 3 variables, of which s and those after it are not in "
         "the file."},
        {"n,x,s\n", " does not fit the schema: column 2 is called x, the schema expects d."},
        {"n,d,s,n_label\n", " does not fit the schema: column 4 is called n_label, the schema describes no more "
                            "columns."},
        {"n,d,s\n1,2,x\ny,2,x\n", ": row 2 (line 3), column 1 (n): \"y\" is not a number."},
        {"n,d,s\n2000-01-01,2,x\n", ": row 1 (line 2), column 1 (n): \"2000-01-01\" is not a number."},
        {"n,d,s\n1,12:00:00,x\n",
         ": row 1 (line 2), column 2 (d): \"12:00:00\" is not a number, date or time as it was expected."},
        {"n,d,s\n1,2,xyz\n", ": row 1 (line 2), column 3 (s): the text has 3 bytes, 2 were expected at most."},
        {"n,d,s\n1,2,\xC3\n", ": row 1 (line 2), column 3 (s): the text holds bytes that are not UTF-8."},
        {"n,d,s\n1,2\n", ": row 1 (line 2): 2 fields were found where 3 were expected, one for each name."},
    };
    for (const auto &row : cases) {
        const Scratch scratch;
        const std::string path = scratch.write("in.csv", row.text);
        EXPECT_EQ(sentence_of([&] { collect(*delimited_source(path, ',', &schema)); }), "c: " + path + row.sentence);
    }
}

} // namespace
} // namespace vor::test
