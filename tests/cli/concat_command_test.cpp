#include "command_test.h"
#include "packed_bytes.h"
#include "whole_file.h"

#include <functional>

namespace vor::test {
namespace {

// Two observations, with a long text in each.
StataFile wave(int number) {
    StataFile file{.release = 118, .data_label = "Waves"};
    file.variables = {{.name = "id", .type = Type::int16},
                      {.name = "sex", .type = Type::byte, .value_label = "sexes"},
                      {.name = "day", .type = Type::int32, .format = "%td"},
                      {.name = "town", .type = str(8)},
                      {.name = "said", .type = Type::strl, .format = "%9s"}};
    const std::string of = std::to_string(number);
    file.rows = {{number, 1, 14669, "Oslo", std::string(60000, '=') + of},
                 {number + 100, missing('a'), 1, "Rome", "last of " + of}};
    file.value_labels = {{"sexes", {{1, "male"}, {2, "female"}}}};
    file.characteristics = {{"_dta", "note1", "kept"}};
    return file;
}

class ConcatCommand : public CommandTest {
  protected:
    void write(const std::string &name, const StataFile &file) const { scratch.write(name, build(file)); }

    // The rows of files without a header, and of the first one with it.
    std::string rows_of(const Words &files) const {
        std::string rows;
        for (const std::string &file : files) {
            const std::string csv = output_of("import " + file + " -");
            rows += rows.empty() ? csv : csv.substr(csv.find('\n') + 1);
        }
        return rows;
    }
};

TEST_F(ConcatCommand, RowsOfAllPartsInTheirOrder) {
    write("one.dta", wave(1));
    StataFile old = wave(2);
    old.release = 117;
    old.order = ByteOrder::big;
    write("two.dta", old);
    scratch.write("three.dta.gz", packed(".gz", {{"data", build(wave(3))}}));
    StataFile empty = wave(4);
    empty.rows.clear();
    write("four.dta", empty);
    const std::string expected = rows_of({"one.dta", "two.dta", "three.dta.gz"});
    const struct {
        std::string parts, result;
    } cases[] = {
        {"one two.dta three.dta.gz four.dta", "all.dta"},
        {"one.dta four.dta two.dta three.dta.gz", "all.dta.gz"},
        {"four.dta one.dta two.dta three.dta.gz --threads 1 --strict", "all.dta"},
        {"one.dta - three.dta.gz", "all.dta"},
    };
    for (const auto &[parts, result] : cases) {
        SCOPED_TRACE(parts);
        const size_t options = parts.find(" --");
        const std::string line =
            parts.substr(0, options) + " " + result + (options == std::string::npos ? "" : parts.substr(options));
        const CommandResult ran = run("concat " + line, {.input = bytes("two.dta")});
        EXPECT_EQ(ran.status, 0) << ran.err;
        EXPECT_TRUE(ran.lines("WARNING").empty()) << ran.err;
        EXPECT_EQ(output_of("import " + result + " -"), expected);
    }
    const CollectedImport all = sound_import(scratch.path("all.dta"), {});
    EXPECT_EQ(all.description.label_tables, sound_import(scratch.path("one.dta"), {}).description.label_tables);
    EXPECT_EQ(all.description.variables, sound_import(scratch.path("one.dta"), {}).description.variables);
    EXPECT_EQ(all.description.characteristics.size(), 1U);
}

TEST_F(ConcatCommand, TheFirstDifferenceIsNamed) {
    write("one.dta", wave(1));
    const struct {
        std::function<void(StataFile &)> change;
        const char *said;
    } cases[] = {
        {[](StataFile &file) { file.variables[1].name = "gender"; }, "variable sex: none, in one.dta: byte"},
        {[](StataFile &file) { file.variables[0].type = Type::int32; }, "type of id: long, in one.dta: int"},
        {[](StataFile &file) { file.variables[3].type = str(9); }, "type of town: str9, in one.dta: str8"},
        {[](StataFile &file) { file.variables[2].format = "%tm"; }, "format of day: %tm, in one.dta: %td"},
        {[](StataFile &file) { file.value_labels[0].entries[1].text = "woman"; },
         "value label 2 in sexes: woman, in one.dta: female"},
        {[](StataFile &file) { file.variables[1].value_label = ""; }, "label table of sex: none, in one.dta: sexes"},
        {[](StataFile &file) {
             std::swap(file.variables[0], file.variables[1]);
             for (Row &row : file.rows)
                 std::swap(row[0], row[1]);
         },
         "order of the variables: sex, in one.dta: id"},
    };
    for (const auto &[change, said] : cases) {
        SCOPED_TRACE(said);
        StataFile other = wave(2);
        change(other);
        write("two.dta", other);
        expect_failure("concat one.dta two.dta all.dta", 1, std::string("two.dta: ") + said);
        expect_failure("concat one.dta - all.dta", 1, said, {.input = bytes("two.dta")});
    }
}

TEST_F(ConcatCommand, WhatIsNotKeptIsAWarning) {
    write("one.dta", wave(1));
    StataFile other = wave(2);
    other.data_label = "Another";
    other.variables[0].label = "Person";
    other.variables[0].format = "%12.0g";
    other.characteristics[0].text = "lost";
    write("two.dta", other);
    const CommandResult result = run("concat one.dta two.dta all.dta");
    const std::string warning = "WARNING: two.dta: not kept, because one.dta differs: ";
    ASSERT_EQ(result.lines(warning).size(), 1U) << result.err;
    for (const char *what : {"label of the data set", "format of id", "label of id", "note"})
        EXPECT_NE(result.lines(warning)[0].find(what), std::string::npos) << result.err;
    EXPECT_EQ(sound_import(scratch.path("all.dta"), {}).description.characteristics[0].text, "kept");
    expect_failure("concat one.dta two.dta strict.dta --strict", 1, "not kept");
}

// An accent of an old file is one byte, and two in the new one.
TEST_F(ConcatCommand, TextsThatGrow) {
    StataFile old = wave(1);
    old.release = 114;
    old.variables.pop_back();
    for (Row &row : old.rows)
        row.pop_back();
    write("one.dta", old);
    old.rows[0][3] = "K\xF8"
                     "benhvn";
    write("two.dta", old);
    const CommandResult result = run("concat one.dta two.dta all.dta");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(output_of("import all.dta -"), rows_of({"one.dta", "two.dta"}));
    EXPECT_EQ(sound_import(scratch.path("all.dta"), {}).description.variables[3].length, 9);
}

TEST_F(ConcatCommand, WrongUsage) {
    expect_failure("concat visits.dta", 2, "FILE is missing");
    expect_failure("concat visits.dta visits.dta", 2, "same file");
    expect_failure("concat visits.csv all.dta", 2, "visits.csv");
    expect_failure("concat visits.dta damaged.dta all.dta", 1, "damaged.dta");
    expect_failure("concat visits.dta nowhere.dta all.dta", 3, "nowhere.dta");
}

} // namespace
} // namespace vor::test
