// The statement parser that the host offers to the module: pending statement text, the engine that parses it by the
// module's grammar tables, and the procedure record that holds the outcome. It knows no keyword and no option: those
// are the grammar's.
#pragma once

#include "services/service_table.h"

#include <vor/parsing.h>

#include <string>
#include <string_view>
#include <vector>

namespace vor::services {

class Messages;

class StatementParser {
  public:
    explicit StatementParser(Messages &messages) : messages_(messages) {}
    StatementParser(const StatementParser &) = delete;
    StatementParser &operator=(const StatementParser &) = delete;

    // Replaces the pending text, such as "FMTLIB=WORK.FORMATS;", and forgets the outcome of earlier parses.
    void set_statements(std::string text);

    // The record for TASK::procedure. Its statement stays valid until the next parse or set_statements.
    PROCSTR *procedure() { return &procedure_; }

    // The services. Tokens end with the parse that made them, so there is nothing to mark or to release in their pool.
    void *xtanch() { return this; }
    int32_t xttpshx(void *anchor) { return anchor == this ? 0 : 1; }
    int32_t xttpsh(const char *text, int32_t length);
    int32_t xhqrel(int32_t /*mark*/, int32_t /*pool*/) { return 0; }

    // Parses the pending text, statement by statement, each up to its semicolon; an empty one is passed over. One that
    // does not fit the grammar has no effect and is an error in the log.
    int32_t xsproc(PARSECONTROL *control, PROCSTR *procedure, int32_t debug, USERINTERACT *interaction);

    // The engine's standard routines by name; 1, and a null routine, for any other name.
    static int32_t vir2g(const char *name, PARSE_ROUTINE *routine, TASK *task, void *anchor);

  private:
    struct Token {
        int16_t type = PARSE_NO_TOKEN;
        bool word = false;                   // a literal that would otherwise be a name
        std::string text = {};               // as written; empty at the end of the input
        std::vector<std::string> names = {}; // the levels of a name, without quotes
    };
    struct Step {
        int16_t action;
        size_t next; // the token behind it
    };
    using Statement = std::vector<Token>;

    static int32_t standard_token(PARSECONTROL *control, void *engine, int32_t argument);
    static int32_t standard_semantic(PARSECONTROL *control, void *engine, int32_t action);

    Statement next_statement(PARSECONTROL *control);
    bool parse(PARSECONTROL *control, const Statement &statement);
    static size_t follow(const PARSECONTROL &control, const Statement &statement, std::vector<Step> &steps);
    static Token scan(const PARSECONTROL &control, std::string_view text);
    void reserve_fields(size_t count);
    void set_field(int16_t field, int16_t type, std::string_view name);

    Messages &messages_;
    std::string pending_;
    size_t cursor_ = 0;           // of the next token in pending_
    Token token_;                 // what the token routine delivered last
    const Token *next_ = nullptr; // what stands behind the action being performed

    PROCSTR procedure_{};
    STMT statement_{};
    std::vector<STLIST> fields_;
    std::vector<U_SNAME> names_; // a field's value, by field
    std::vector<int16_t> selected_fields_;
};

template <>
StatementParser &serving();

} // namespace vor::services
