// The statements of an import or export step: the grammar's tables, the engine that parses by them, and the options
// that the parse slots keep.
#include "driver_records.h"
#include "imdtam.h"
#include "module_host.h"
#include "services/host_state.h"
#include "xsparse.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>

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
    services::StatementParser &parser = services::current_host().parser;
    Lines &lines = host.log.lines;
    std::unique_ptr<IMGLUE> session = std::make_unique<IMGLUE>();
    glue_grammar_struct options{};
};

TEST_F(Statements, AcceptedTexts) {
    const struct {
        const char *text, *place;
    } cases[] = {
        {"", "|"},
        {"FMTLIB=mylib.formats;", "mylib|formats"},
        {"fMtLiB\n=/* where */ a_1._b2 ;", "a_1|_b2"},
        {";;FMTLIB=WORK(/**/);", "WORK|"},
        {"FMTLIB=FORMATS.;", "FORMATS|"},
        {"FMTLIB=fmtlib;", "fmtlib|"},
        {"FMTLIB='it''s';", "it's|"},
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

TEST_F(Statements, RefusedTexts) {
    const struct {
        std::string text, line;
    } cases[] = {
        {"FMTLIB A.B;", R"("FMTLIB" is not used: "A.B" does not fit)"},
        {"FMTLIB=A B;", R"("FMTLIB" is not used: "B" does not fit)"},
        {"FMTLIB=;", R"("FMTLIB" is not used: ";" does not fit)"},
        {"FMTLIB=A.B", R"("FMTLIB" is not used: it has no end)"},
        {"FMTLIB=A.B.C;", R"("FMTLIB" is not used: "." does not fit)"},
        {"FMTLIB=/*abc;", R"("FMTLIB" is not used: "/*abc;" does not fit)"},
        {"FMTLIB='abc;", R"("FMTLIB" is not used: "'abc;" does not fit)"},
        {"FMTLIB=1a;", R"("FMTLIB" is not used: "1" does not fit)"},
        {std::string("FMTLIB=A\0B;", 11), R"("FMTLIB" is not used: "?" does not fit)"},
        {std::string(39, 'x') + "\xC3\xA9 and so on;",
         '"' + std::string(39, 'x') + "...\" is not used: \"" + std::string(39, 'x') + "...\" does not fit"},
    };
    for (const auto &[text, line] : cases) {
        SCOPED_TRACE(text);
        ASSERT_EQ(parse("FMTLIB=X.Y;"), HOST_OK);
        EXPECT_EQ(parse(text), HOST_LOGGED);
        EXPECT_EQ(place(), "X|Y");
        EXPECT_EQ(host->take_failure().text, "The statement that begins with " + line + ".");
    }
}

TEST_F(Statements, EveryErrorOfAStepIsReportedAndGoodStatementsOfAnExportCount) {
    parser.set_statements("a b c;FMTLIB=A.B;d e f;");
    session->outmode = OUTMODE_WRITE_LABELS;
    EXPECT_EQ(prseprc(session.get(), nullptr), HOST_OK);
    EXPECT_EQ(place(), "A|B");
    EXPECT_EQ(options.write_labels, 1);
    EXPECT_EQ(host->take_failure().text, "The statement that begins with \"a\" is not used: \"a\" does not fit; "
                                         "The statement that begins with \"d\" is not used: \"d\" does not fit.");
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
        return missing != nullptr && missing == std::string_view(name)
                   ? 1
                   : services::StatementParser::vir2g(name, routine, nullptr, nullptr);
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
    static std::int32_t mask;
    host.replace(xsproc, [](SERVICE_ID, PARSECONTROL *, PROCSTR *, std::int32_t debug, USERINTERACT *) {
        mask = debug;
        return 0;
    });
    parser.procedure()->debug = PROCSTR_DEBUG_SYNTAX;
    prseprc(session.get(), nullptr);
    EXPECT_EQ(mask, PARSE_DEBUG_SYNTAX);
}

} // namespace
} // namespace vor::test
