// The statement parser that the host offers to its modules: pending statement text, the engine that parses it by a
// module's grammar tables, and the procedure record that holds the outcome.
//
// The engine works statement by statement, each from its first token to the semicolon that ends it; an empty statement
// is passed over. Where a statement does not fit the grammar, tokens are left out or put in at the least cost that the
// tables give; what was repaired is a note, what could not be repaired an error in the log. It knows no keyword and no
// option: those are the grammar's.
#pragma once

#include "services/parsing_tokens.h"
#include "vor/parsing.h"

#include <vorhost/log.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

class Grammar;
struct Misfit;
struct Repair;

class StatementParser {
  public:
    // Receives each line of the engine as it stands: text, not a format.
    using LogLine = std::function<void(Severity, std::string_view)>;

    explicit StatementParser(LogLine log);
    ~StatementParser();
    StatementParser(const StatementParser &) = delete;
    StatementParser &operator=(const StatementParser &) = delete;

    // Replaces the pending text, such as "FMTLIB=WORK.FORMATS;", and forgets the outcome of earlier parses.
    void set_statements(std::string text);

    // The record for TASK::procedure. Its statement stays valid until the next parse or set_statements.
    PROCSTR *procedure() { return &procedure_; }

    // What the parsing services do, under the services' names.
    void *xtanch();                                   // the anchor of the token pool
    int32_t xttpshx(void *anchor);                    // marks the pool; 1 when the anchor is not its own
    int32_t xttpsh(const char *text, int32_t length); // puts text in front of the pending text; 0
    int32_t xhqrel(int32_t mark, int32_t pool);       // drops the tokens since the last mark; 0
    int32_t xsproc(PARSECONTROL *control, PROCSTR *procedure, int32_t debug, USERINTERACT *interaction);

    // vir2g for the engine's standard routines. 0; 1, and a null routine, for any other name.
    static int32_t vir2g(const char *name, PARSE_ROUTINE *routine);

  private:
    struct Statement;

    static int32_t standard_token(PARSECONTROL *control, void *engine, int32_t argument);
    static int32_t standard_semantic(PARSECONTROL *control, void *engine, int32_t action);

    std::vector<Token> next_statement(PARSECONTROL *control, const Grammar &grammar);
    bool parse_statement(PARSECONTROL *control, const Grammar &grammar, std::vector<Token> tokens);
    void perform(PARSECONTROL *control, int32_t action, const Token &next);
    void store_name();
    Statement &current_statement();

    void report(Severity severity, const Token &where, const std::string &text);
    std::string misfit_text(const Grammar &grammar, const std::vector<Token> &tokens, const Misfit &misfit) const;
    std::string repair_text(const Grammar &grammar, const std::vector<Token> &tokens, const Repair &repair) const;

    LogLine log_;
    PROCSTR procedure_{};
    std::unique_ptr<Statement> statement_;
    std::vector<int16_t> selected_fields_;

    std::string pending_;
    size_t cursor_ = 0;  // of the next token in pending_
    int64_t column_ = 1; // of pending_'s first byte in the text that was set; pushed text stands in front of column 1

    std::vector<Token> pool_; // the tokens of the statements parsed since the last mark was released
    size_t mark_ = 0;
    Token token_;                 // what the token routine delivered last
    const Token *next_ = nullptr; // what stands behind the action being performed
    int32_t debug_ = 0;
};

} // namespace vor
