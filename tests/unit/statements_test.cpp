// The statements of an import or export step: the grammar's tables, the engine that parses by them, and the options
// that the parse slots keep.
#include "driver_records.h"
#include "imdtam.h"
#include "module_host.h"
#include "services/host_state.h"
#include "services/parsing_grammar.h"
#include "xsparse.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <set>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

class Statements : public testing::Test {
  protected:
    Statements() { forget(); }

    // A session's options as its constructor leaves them.
    void forget() {
        options = {};
        std::memset(options.fmtlib, ' ', sizeof options.fmtlib);
        std::memset(options.fmtmem, ' ', sizeof options.fmtmem);
        session->grammar_ptr = &options;
    }

    std::int32_t parse(const std::string &text) {
        lines.clear();
        parser.set_statements(text);
        return prsiprc(session.get(), nullptr);
    }

    // The catalog that the options name, each part with its field's length.
    std::string place() const {
        return std::string(options.fmtlib, static_cast<std::size_t>(options.fmtliblen)) + "|" +
               std::string(options.fmtmem, static_cast<std::size_t>(options.fmtmemlen));
    }

    ModuleHost host;
    StatementParser &parser = services::current_host().parser;
    Lines &lines = host.log.lines;
    std::unique_ptr<IMGLUE> session = std::make_unique<IMGLUE>();
    glue_grammar_struct options{};
};

// Each row of the parse table leads to the non-terminal's own productions, and to all of them.
TEST_F(Statements, TablesAgreeWithEachOther) {
    const PARSECONTROL &control = *imdtag();
    const Grammar grammar(control);
    std::set<std::int16_t> reached;
    for (std::int16_t symbol = grammar.goal(); symbol <= control.symbols; ++symbol) {
        for (std::int16_t terminal = 1; terminal <= control.maxterminal; ++terminal)
            if (const std::int16_t production = grammar.production(symbol, terminal)) {
                EXPECT_EQ(grammar.left_side(production), symbol);
                reached.insert(production);
            }
    }
    EXPECT_EQ(reached.size(), 16u);
}

TEST_F(Statements, AcceptedTexts) {
    const struct {
        const char *text, *place;
    } cases[] = {
        {"", "|"},
        {"FMTLIB=mylib.formats;", "mylib|formats"},
        {"fMtLiB\n=/* where */ a_1._b2 ;", "a_1|_b2"},
        {"FMTLIB=WORK();", "WORK|"},
        {"FMTLIB='my lib'N.'b c'n;", "my lib|b c"},
        {"FMTLIB=A.B;FMTLIB=C.D;", "C|D"},
        {"FMTLIB=library_of_formats.catalog_with_a_name_of_40_letters_____;",
         "library_|catalog_with_a_name_of_40_letter"},
        {"FMTLIB=b\xC3\xA9.c;", "b\xC3\xA9|c"},
    };
    for (const auto &[text, expected] : cases) {
        SCOPED_TRACE(text);
        forget();
        EXPECT_EQ(parse(text), HOST_OK);
        EXPECT_EQ(place(), expected);
        EXPECT_TRUE(lines.empty()) << lines[0];
    }
}

TEST_F(Statements, FieldsAreBlankPaddedAndStayWhenNotGiven) {
    EXPECT_EQ(parse("FMTLIB=ABCDEFGH.IJ;"), HOST_OK);
    EXPECT_EQ(parse("FMTLIB=AB.C;"), HOST_OK);
    EXPECT_EQ(std::string_view(options.fmtlib, 8), "AB      ");
    EXPECT_EQ(std::string_view(options.fmtmem, 32), "C                               ");
    EXPECT_EQ(parse("FMTLIB=D;"), HOST_OK);
    EXPECT_EQ(place(), "D|C");
}

TEST_F(Statements, RepairedTexts) {
    const std::string names = "a name, a quoted string, a two-level name, a format name or a name literal was expected";
    const struct {
        std::string text, place, line;
    } cases[] = {
        {"FMTLIB A.B;", "A|B", R"~(8: "A.B" found where "=" was expected; "=" assumed before "A.B")~"},
        {"FMTLIB=A.B", "A|B",
         R"~(11: the end of the statements found where ";" or "(" was expected; )~"
         R"~(";" assumed before the end of the statements)~"},
        {"FMTLIB=;", "|", "8: \";\" found where " + names + "; a name assumed before \";\""},
        {"FMTLIB=A B;", "A|", R"~(10: "B" found where ";" or "(" was expected; "B" left out)~"},
        {"FMTLB=A.B;", "A|B",
         R"~(1: "FMTLB" found where "ADTA" or "FMTLIB" was expected; )~"
         R"~("FMTLIB" assumed before "FMTLB", "FMTLB" left out)~"},
        {"=A.B;FMTLIB=C.D;", "C|D",
         R"~(1: "=" found where "ADTA" or "FMTLIB" was expected; "FMTLIB" assumed before "=")~"},
    };
    for (const auto &[text, expected, line] : cases) {
        SCOPED_TRACE(text);
        forget();
        EXPECT_EQ(parse(text), HOST_OK);
        EXPECT_EQ(place(), expected);
        EXPECT_EQ(lines, Lines{"NOTE: Statements, column " + line + "."});
    }
}

TEST_F(Statements, RefusedTexts) {
    const std::string names = "a name, a quoted string, a two-level name, a format name or a name literal was expected";
    const struct {
        std::string text, line;
    } cases[] = {
        {"FMTLIB=A B C;", R"(column 10: "B" found where ";" or "(" was expected)"},
        {"FMTLIB=\n  @;", "column 11: \"@\" found where " + names},
        {"FMTLIB=/*abc;", "column 8: \"/*abc;\" found where " + names},
        {"FMTLIB=A.B.C;", "column 8: \"A.B.C\" found where " + names},
        {"FMTLIB='01jan2020'q;", "column 8: \"'01jan2020'q\" found where " + names},
        {std::string("FMTLIB=A\0B;", 11), "column 9: \" \" found where \";\" or \"(\" was expected"},
        {"@" + std::string(60, 'x'), R"(column 1: "@" found where "ADTA" or "FMTLIB" was expected)"},
        {"FMTLIB='" + std::string(38, 'x') + "\xC3\xA9 and so on;",
         "column 8: \"'" + std::string(38, 'x') + "...\" found where " + names},
    };
    for (const auto &[text, line] : cases) {
        SCOPED_TRACE(text);
        ASSERT_EQ(parse("FMTLIB=X.Y;"), HOST_OK);
        EXPECT_EQ(parse(text), HOST_LOGGED);
        EXPECT_EQ(place(), "X|Y");
        EXPECT_EQ(host->take_failure().text, "Statements, " + line + "; the statement is not used.");
    }
}

TEST_F(Statements, CostsAndLimitsDecideAboutRepairs) {
    // FMTLIB=A B C; takes 50 for each of two names.
    struct {
        std::int32_t valcost, inslen;
        const char *text;
        std::int32_t cost;
    } const cases[] = {
        {100, 12, "FMTLIB=A B C;", 100},
        {99, 12, "FMTLIB=A B C;", -1},
        {63, 2, "A;", 20},
        {63, 1, "A;", 60},
        {59, 1, "A;", -1},
        {63, 12, "(", 30},
    };
    for (const auto &[valcost, inslen, text, cost] : cases) {
        SCOPED_TRACE(std::string(text) + " " + std::to_string(valcost) + " " + std::to_string(inslen));
        PARSECONTROL control = *imdtag();
        control.valcost = valcost;
        control.inslen = inslen;
        const Grammar grammar(control);
        std::vector<Token> tokens;
        for (std::size_t at = 0; tokens.empty() || tokens.back().type != grammar.end_type();
             at = tokens.back().position + tokens.back().text.size())
            tokens.push_back(scan_token(text, at, grammar.literals(), grammar.end_type()));
        const auto repair = cheapest_repair(grammar, tokens);
        EXPECT_EQ(repair ? repair->cost : -1, cost);
        EXPECT_TRUE(!repair || !follow(grammar, repair->tokens));
    }
}

TEST_F(Statements, LongRefusedTextsAreQuick) {
    std::string text;
    for (int i = 0; i < 50'000; ++i)
        text += "FMTLIB ( = ";
    EXPECT_EQ(parse(text), HOST_LOGGED);
}

TEST_F(Statements, EveryErrorOfAStepIsReportedAndGoodStatementsOfAnExportCount) {
    parser.set_statements("a b c;FMTLIB=A.B;d e f;");
    session->outmode = OUTMODE_WRITE_LABELS;
    EXPECT_EQ(prseprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(place(), "A|B");
    EXPECT_EQ(options.write_labels, 1);
    const std::string tail = " found where \"ADTA\" or \"FMTLIB\" was expected; the statement is not used";
    EXPECT_EQ(host->take_failure().text,
              "Statements, column 1: \"a\"" + tail + "; Statements, column 18: \"d\"" + tail + ".");
    session->outmode = 0;
    EXPECT_EQ(prseprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(options.write_labels, 0);
}

TEST_F(Statements, AnEngineWithoutOutcomeFailsAnImport) {
    host.replace(xsproc, [](SERVICE_ID, PARSECONTROL *, PROCSTR *, std::int32_t, USERINTERACT *) { return 0; });
    EXPECT_EQ(prsiprc(session.get(), nullptr), HOST_LOGGED);
    EXPECT_EQ(prseprc(session.get(), nullptr), HOST_OK);
}

TEST_F(Statements, UnusedStatementsAreNamed) {
    host.replace(xsproc, [](SERVICE_ID, PARSECONTROL *, PROCSTR *procedure, std::int32_t, USERINTERACT *) {
        static STMT statement{};
        statement.options[0] = STMT_INFORMAT | STMT_FORMAT;
        procedure->statement = &statement;
        return 0;
    });
    EXPECT_EQ(prseprc(session.get(), nullptr), HOST_OK);
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(prsiprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(lines, (Lines{"NOTE: The option INFORMAT of the statement is not used here.",
                            "NOTE: The option FORMAT of the statement is not used here."}));
    EXPECT_EQ(place(), "|");
}

TEST_F(Statements, MissingRoutinesAndMemoryEndTheTask) {
    static const char *missing = nullptr;
    std::string said;
    const auto ended = [&] {
        try {
            return prsiprc(session.get(), nullptr);
        } catch (const TaskExit &exit) {
            said = exit.what();
            return exit.code();
        }
    };
    host.leave_blocks(0);
    EXPECT_EQ(ended(), HOST_TASK_NO_MEMORY);
    host.leave_all_blocks();
    host.replace(vir2g, [](SERVICE_ID, const char *name, PARSE_ROUTINE *routine, TASK *, void *) {
        return missing != nullptr && missing == std::string_view(name) ? 1 : StatementParser::vir2g(name, routine);
    });
    for (const char *routine : {PARSE_STANDARD_TOKEN, PARSE_STANDARD_SEMANTIC}) {
        missing = routine;
        EXPECT_EQ(ended(), HOST_LOGGED);
        EXPECT_NE(said.find(routine), std::string::npos) << said;
    }
    missing = nullptr;
    EXPECT_EQ(ended(), HOST_OK);
}

TEST_F(Statements, ARecordKeepsWhatItAlreadyHas) {
    PARSECONTROL *control = imdtag();
    int handle = 0;
    xsctrak(control, &handle);
    control->token = +[](PARSECONTROL *, void *, std::int32_t) { return 25; };
    USERINTERACT interaction[USERINTERACT_ENTRIES] = {};
    parser.set_statements("not even looked at");
    xsparse(control, interaction);
    EXPECT_EQ(control->tracking, &handle);
    EXPECT_NE(control->semantic, nullptr);
    EXPECT_EQ(parser.procedure()->error, 0);
    EXPECT_EQ(parser.procedure()->statement, nullptr);
    EXPECT_TRUE(lines.empty());
}

TEST_F(Statements, DebuggingFollowsTheProcedure) {
    parser.procedure()->debug = PROCSTR_DEBUG_SYNTAX;
    EXPECT_EQ(prsiprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(lines.front(), "NOTE: Statements, column 1: token type 23, \"ADTA\".");
}

} // namespace
} // namespace vor::test
