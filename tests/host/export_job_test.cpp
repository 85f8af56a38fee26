// What an export says of values that a Stata file cannot hold as they are.
#include "collected_import.h"
#include "tables_in_memory.h"

#include <vorhost/conversion.h>

#include <limits>

namespace vor::test {
namespace {

using namespace std::string_literals;

struct ChangedValue {
    Variable variable;
    Cell value;
    std::string comes_back; // as an import has it
    const char *note;       // without the variable and the count
};

Cell sound_value(const Variable &variable) {
    return variable.kind == ValueKind::numeric ? Cell(12) : Cell("abc");
}

std::string cell_text(const Cell &cell) {
    return std::visit([](const auto &value) { return value_text(value); }, cell.value);
}

// A sound observation and two with these values go out and come back; the notes are these and the counts.
void expect_notes(const std::vector<ChangedValue> &changes, const char *session_encoding) {
    DataSet description;
    std::vector<std::string> sound;
    std::vector<std::string> changed;
    for (const ChangedValue &change : changes) {
        description.variables.push_back(change.variable);
        sound.push_back(cell_text(sound_value(change.variable)));
        changed.push_back(change.comes_back);
    }
    const ScratchDirectory scratch;
    CapturedLog log;
    HostOptions host;
    host.log = &log;
    host.session_encoding = session_encoding;
    ExportSession session(host, base_export, scratch.path("o.dta"), description);
    Cells rows(3);
    for (const ChangedValue &change : changes) {
        rows[0].push_back(sound_value(change.variable));
        rows[1].push_back(change.value);
        rows[2].push_back(change.value);
    }
    session.put(batch_of(description.variables, rows));
    session.finish();
    EXPECT_EQ(sound_import(scratch.path("o.dta")).rows, (std::vector{sound, changed, changed}));
    for (const ChangedValue &change : changes) {
        const std::string note =
            "variable " + change.variable.name + ": 2 values " + change.note + ", first in observation 2.";
        EXPECT_TRUE(log.contains(note)) << note << '\n' << log.text();
    }
    EXPECT_EQ(log.lines.size(), changes.size() + 1) << "and the count\n" << log.text();
}

TEST(ExportJob, EveryChangedValueIsTold) {
    const double infinite = std::numeric_limits<double>::infinity();
    const std::vector<ChangedValue> changes = {
        {numeric("mark"), missing_value('_'), ".",
         "with the mark ._, which a Stata file does not have, written as the standard missing value"},
        {numeric("endless"), -infinite, ".", "infinite or not a number, written as missing"},
        {numeric("large"), 0x1p1023, ".", "beyond what a Stata file can hold, written as missing"},
        {numeric("reserved"), -1e301, ".", "beyond what a Stata file can hold, written as missing"},
        {numeric("late", "MMDDYY10."), 2147483621.0, ".", "beyond what a Stata file can hold, written as missing"},
        {numeric("exact"), 0x1p53 + 2, "9007199254740994", "beyond 2^53, where a double does not hold every integer"},
        {numeric("noon", "MMDDYY10."), -1.5, "-1", "with a fraction of a day, cut to the whole day"},
        {character("essay", 3000), std::string(2044, 'x') + "\xC3\xA9y", "'" + std::string(2044, 'x') + "'",
         "longer than the variable can hold (2045 bytes at most), cut"},
        {character("short", 3), "abcd", "'abc'", "longer than the variable can hold (2045 bytes at most), cut"},
        {character("tail", 5), "ab \n", "'ab'", "ending in tabs or line ends, which a Stata file does not keep"},
        {character("zero", 5), "a\0b"s, "'a'",
         "with zero bytes, of which readers take the first one for the end of the text"},
    };
    expect_notes(changes, "utf-8");
}

TEST(ExportJob, TextInAnotherSession) {
    expect_notes(
        {{character("kanji", 9), "a\xE6\x97\xA5", "'a?'",
          "with characters that the session encoding does not have, written as '?'"},
         {character("tail", 9), "ab\t", "'ab'", "ending in tabs or line ends, which a Stata file does not keep"}},
        "latin1");
    expect_notes({{character("grows", 5), "\xC3\xB1\xC3\xB1y", "'\xC3\xB1'",
                   "longer than the variable can hold (2045 bytes at most), cut"}},
                 "gb18030");
}

TEST(ExportJob, NamesAndLabelsThatAreTooLongOrNotInTheSession) {
    const ScratchDirectory scratch;
    CapturedLog log;
    HostOptions host;
    host.log = &log;
    host.session_encoding = "latin1";
    DataSet description;
    description.variables = {numeric("a"), numeric("b"), numeric("\xE6\x97\xA5"), numeric("\xE6\x9C\xAC")};
    description.variables[0].label = std::string(319, 'x') + "\xC3\xA9";
    description.variables[1].label = "\xE6\x97\xA5\xC3\xA9";
    ExportSession(host, base_export, scratch.path("o.dta"), description).finish();
    EXPECT_TRUE(log.contains("variable a: its label of 321 bytes is cut to 319.")) << log.text();
    EXPECT_TRUE(log.contains("variable b: characters of its label that the session encoding does not have, written as "
                             "'?': 1."))
        << log.text();
    const std::vector<Variable> back = sound_import(scratch.path("o.dta")).description.variables;
    EXPECT_EQ(back[1].label, "?\xC3\xA9");
    EXPECT_EQ(back[2].name + ' ' + back[3].name, "_ __1");
    EXPECT_TRUE(log.contains("variable \xE6\x9C\xAC is written as __1.")) << log.text();
    const std::string file = file_bytes(scratch.path("o.dta"));
    EXPECT_NE(file.find(std::string(319, 'x') + '\0'), std::string::npos) << "no character is split";
}

// The session's encoding changes nothing of what is in the file.
TEST(ExportJob, LabelsInAnySession) {
    const ScratchDirectory scratch;
    CatalogMap catalogs;
    catalogs.formats["G"] = {.name = "G", .ranges = {{1.0, 1.0, {"Zo\xC3\xAB"}}}};
    DataSet description;
    description.variables = {numeric("gr\xC3\xB6\xC3\x9F"
                                     "e",
                                     "G.")};
    std::vector<std::string> files;
    for (const char *session_encoding : {"utf-8", "latin1"}) {
        HostOptions host;
        host.catalogs = &catalogs;
        host.session_encoding = session_encoding;
        ExportSession(host, base_export, scratch.path("o.dta"), description).finish();
        files.push_back(file_bytes(scratch.path("o.dta")));
    }
    EXPECT_TRUE(files[0] == files[1]);
}

TEST(ExportJob, FormatsByTheirWholeNames) {
    CatalogMap catalogs;
    const auto add = [&](const char *name, const char *label) {
        catalogs.formats[name] = {.name = name, .ranges = {{1.0, 1.0, {label}}}};
    };
    add("SATISFACTION", "long");
    add("SATISFAC", "short");
    add("E", "named like a built-in format");
    add("DATE", "of dates");
    CapturedLog log;
    HostOptions host;
    host.catalogs = &catalogs;
    host.log = &log;
    DataSet description;
    description.variables = {numeric("a", "SATISFACTION."), numeric("b", "satisfac."),  numeric("c", "E12."),
                             numeric("d", "DATE9."),        numeric("f", "YYMMDDT10."), numeric("g", "SATISFACTION.")};
    const ScratchDirectory scratch;
    ExportSession session(host, base_export, scratch.path("o.dta"), description);
    session.put(batch_of(description.variables, {{missing_value('.'), missing_value('.'), missing_value('.'),
                                                  missing_value('.'), 1.5, missing_value('.')}}));
    session.finish();
    const CollectedImport back = sound_import(scratch.path("o.dta"));
    std::string labels;
    for (const Variable &variable : back.description.variables)
        for (const std::string &label : back.labels_of(variable))
            labels += variable.name + ' ' + label + '|';
    EXPECT_EQ(labels, "a 1=long|b 1=short|c 1=named like a built-in format|g 1=long|");
    EXPECT_EQ(back.rows[0][4], "1.5") << "not a date";
    for (const char *note : {"the labels of format DATE are not written: the variable shows dates or times.",
                             "The user format YYMMDDT is not in WORK.FORMATS; nothing is labelled with it."})
        EXPECT_TRUE(log.contains(note)) << log.text();
}

} // namespace
} // namespace vor::test
