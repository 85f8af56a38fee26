// The statements of an import or export step: the grammar's tables, the engine that parses by them, and the options
// that the parse slots keep.
#include "grammar_options.h"
#include "imdtag.h"
#include "imdtam_statements.h"
#include "module_host.h"
#include "services/parsing.h"
#include "services/parsing_grammar.h"
#include "xsparse.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <set>

namespace vor::test {
namespace {

// A module host with a statement parser and nothing else.
class Statements : public testing::Test {
  public:
    struct TaskEnded {
        std::int32_t code;
    };

  protected:
    Statements() {
        current_ = this;
        host->control_block()->task->procedure = parser.procedure();
        host.replace(xexit, [](SERVICE_ID, std::int32_t code, std::int32_t) { throw TaskEnded{code}; });
        host.replace(xpmlog, catalog_message);
        host.replace(xtanch, [](SERVICE_ID) { return current_->parser.xtanch(); });
        host.replace(xttpshx, [](SERVICE_ID, void *anchor) { return current_->parser.xttpshx(anchor); });
        host.replace(xttpsh, [](SERVICE_ID, const char *text, std::int32_t length) {
            return current_->parser.xttpsh(text, length);
        });
        host.replace(xhqrel, [](SERVICE_ID, std::int32_t mark, std::int32_t pool) {
            return current_->parser.xhqrel(mark, pool);
        });
        host.replace(xsproc,
                     [](SERVICE_ID, PARSECONTROL *control, PROCSTR *procedure, std::int32_t debug, USERINTERACT *user) {
                         return current_->parser.xsproc(control, procedure, debug, user);
                     });
        host.replace(vir2g, [](SERVICE_ID, const char *name, PARSE_ROUTINE *routine, TASK *, void *) {
            return current_->missing_routine == name ? 1 : StatementParser::vir2g(name, routine);
        });
        session = std::make_unique<IMGLUE>();
        options = std::make_unique<glue_grammar_struct>();
        std::memset(options->fmtlib, ' ', sizeof options->fmtlib);
        std::memset(options->fmtmem, ' ', sizeof options->fmtmem);
        session->grammar_ptr = options.get();
    }

    std::int32_t parse(const std::string &text) {
        lines.clear();
        parser.set_statements(text);
        return prsiprc(session.get(), nullptr);
    }

    static std::int32_t catalog_message(SERVICE_ID, std::int32_t group, std::int32_t number, ...) {
        va_list arguments;
        va_start(arguments, number);
        const std::int32_t length = va_arg(arguments, std::int32_t);
        const char *text = va_arg(arguments, const char *);
        current_->messages.push_back(std::to_string(group) + "/" + std::to_string(number) + " " +
                                     std::string(text, static_cast<std::size_t>(length)));
        va_end(arguments);
        return 0;
    }

    // The catalog that the options name, each part with its field's length.
    std::string place() const {
        const auto field = [](const char *text, std::int32_t length) {
            return std::string(text, static_cast<std::size_t>(length));
        };
        return field(options->fmtlib, options->fmtliblen) + "|" + field(options->fmtmem, options->fmtmemlen);
    }

    inline static Statements *current_ = nullptr;

  public:
    ModuleHost host;
    std::vector<std::string> lines;
    std::vector<std::string> messages;
    std::string missing_routine;
    StatementParser parser{[this](Severity severity, std::string_view text) {
        lines.push_back((severity == Severity::error ? "E " : "N ") + std::string(text));
    }};
    std::unique_ptr<IMGLUE> session;
    std::unique_ptr<glue_grammar_struct> options;
};

TEST_F(Statements, TablesAgreeWithEachOther) {
    const PARSECONTROL &control = *imdtag();
    const Grammar grammar(control);
    EXPECT_EQ(control.symbols, 35);
    EXPECT_EQ(grammar.name(24), "\"FMTLIB\"");
    EXPECT_EQ(grammar.literals().size(), 5u);
    std::set<std::int16_t> actions;
    for (std::int16_t production = 1; production <= control.productions; ++production) {
        EXPECT_FALSE(grammar.is_terminal(grammar.left_side(production))) << production;
        for (const std::int16_t symbol : grammar.right_side(production)) {
            EXPECT_TRUE(symbol >= -control.actions && symbol <= control.symbols && symbol != 0) << production;
            EXPECT_NE(symbol, control.goaltoken) << production;
            if (symbol < 0) {
                EXPECT_TRUE(actions.insert(symbol).second) << production;
            }
        }
    }
    EXPECT_EQ(actions.size(), 12u);

    // Each row of the parse table leads to the non-terminal's own productions, and to all of them.
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

TEST_F(Statements, StandInsCostWhatTheirSymbolsCost) {
    const Grammar grammar(*imdtag());
    for (std::int16_t symbol = 27; symbol <= 35; ++symbol) {
        std::int32_t cost = 0;
        for (const std::int16_t terminal : grammar.insertion(symbol))
            cost += grammar.insertion_cost(terminal);
        EXPECT_EQ(grammar.insertion_cost(symbol), cost) << symbol;
    }
}

TEST_F(Statements, AcceptedTexts) {
    const struct {
        const char *text, *place;
    } cases[] = {
        {"", "|"},
        {" \t\r\n", "|"},
        {"FMTLIB=mylib.formats;", "mylib|formats"},
        {"fMtLiB\n=/* where */ a_1._b2 ;", "a_1|_b2"},
        {"FMTLIB=WORK();", "WORK|"},
        {"FMTLIB=LIB.CAT ( ) ;", "LIB|CAT"},
        {"FMTLIB='my lib'N.'b c'n;", "my lib|b c"},
        {"FMTLIB=ADTA.FMTLIB;", "ADTA|FMTLIB"},
        {"FMTLIB=A.B;FMTLIB=C.D;", "C|D"},
        {"FMTLIB=A.B;ADTA;", "A|B"},
        {"FMTLIB=library_of_formats.catalog_with_a_name_of_40_letters_____;",
         "library_|catalog_with_a_name_of_40_letter"},
        {"FMTLIB=b\xC3\xA9.c;", "b\xC3\xA9|c"},
    };
    for (const auto &[text, expected] : cases) {
        SCOPED_TRACE(text);
        *options = {};
        EXPECT_EQ(parse(text), HOST_OK);
        EXPECT_EQ(place(), expected);
        EXPECT_TRUE(lines.empty()) << lines[0];
    }
}

TEST_F(Statements, FieldsAreBlankPaddedAndStayWhenNotGiven) {
    EXPECT_EQ(parse("FMTLIB=ABCDEFGH.IJ;"), HOST_OK);
    EXPECT_EQ(parse("FMTLIB=AB.C;"), HOST_OK);
    EXPECT_EQ(std::string_view(options->fmtlib, 8), "AB      ");
    EXPECT_EQ(std::string_view(options->fmtmem, 32), "C                               ");
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
        {"FMTLIB=A.B(;", "A|B", R"~(12: ";" found where ")" was expected; "(" left out)~"},
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
        *options = {};
        EXPECT_EQ(parse(text), HOST_OK);
        EXPECT_EQ(place(), expected);
        EXPECT_EQ(lines, std::vector<std::string>{"N Statements, column " + line + "."});
    }
}

TEST_F(Statements, RefusedTexts) {
    const std::string names = "a name, a quoted string, a two-level name, a format name or a name literal was expected";
    const struct {
        std::string text, line;
    } cases[] = {
        {"FMTLIB=A B C;", R"(column 10: "B" found where ";" or "(" was expected)"},
        {"FMTLIB=\n  @;", "column 11: \"@\" found where " + names},
        {"FMTLIB='abc;", "column 8: \"'abc;\" found where " + names},
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
        EXPECT_EQ(lines, std::vector<std::string>{"E Statements, " + line + "; the statement is not used."});
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
    EXPECT_EQ(options->write_labels, 1);
    EXPECT_EQ(lines.size(), 2u);
    session->outmode = 0;
    EXPECT_EQ(prseprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(options->write_labels, 0);
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
    EXPECT_TRUE(messages.empty());
    EXPECT_EQ(prsiprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(messages, (std::vector<std::string>{"612/110 INFORMAT", "612/110 FORMAT"}));
    EXPECT_EQ(place(), "|");
}

TEST_F(Statements, MissingRoutinesAndMemoryEndTheTask) {
    const struct {
        std::string missing_routine; // empty: no memory
        std::int32_t code;
    } cases[] = {
        {PARSE_STANDARD_TOKEN, HOST_LOGGED}, {PARSE_STANDARD_SEMANTIC, HOST_LOGGED}, {"", HOST_TASK_NO_MEMORY}};
    for (const auto &[routine, code] : cases) {
        messages.clear();
        missing_routine = routine;
        if (routine.empty())
            host.leave_blocks(0);
        std::int32_t ended = HOST_OK;
        try {
            prsiprc(session.get(), nullptr);
        } catch (const TaskEnded &end) {
            ended = end.code;
        }
        EXPECT_EQ(ended, code);
        EXPECT_EQ(messages, routine.empty() ? std::vector<std::string>{} : std::vector{"129/54 " + routine});
    }
    host.leave_all_blocks();
    EXPECT_EQ(parse("FMTLIB=A.B;"), HOST_OK);
    EXPECT_EQ(place(), "A|B");
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
    EXPECT_EQ(lines.front(), "N Statements, column 1: token type 23, \"ADTA\".");
    lines.clear();
    parser.procedure()->debug = PROCSTR_DEBUG_SEMANTICS;
    EXPECT_EQ(prsiprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines.front(), "N Statements, column 1: action 46, operation 1.");
}

} // namespace
} // namespace vor::test
