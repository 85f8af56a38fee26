// A statement is read whole, followed through the parse table with a stack of expected symbols, and only when it fits
// are its actions carried out.

#include "services/parsing.h"

#include "services/messages.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>

#include <algorithm>
#include <fmt/format.h>
#include <span>

namespace vor::services {
namespace {

constexpr size_t LONGEST_ECHO_BYTES = 40; // of the user's text in a message

using Symbols = std::span<const int16_t>;

// A list of a table: its count, then so many entries of `width` numbers each.
Symbols list(const int16_t *table, int16_t start, size_t width = 1) {
    return {table + start + 1, static_cast<size_t>(table[start]) * width};
}

int16_t terminal(const PARSECONTROL &control, int16_t token_type) {
    return token_type == PARSE_NO_TOKEN ? int16_t{0} : control.symmap[token_type - 1];
}

std::string_view literal(const PARSECONTROL &control, int16_t token_type) {
    const char *text = control.symtbl + control.symndx[terminal(control, token_type) - 1];
    return {text + 1, static_cast<size_t>(*text)};
}

// The production to take for a non-terminal before a terminal; 0 for none.
int16_t production(const PARSECONTROL &control, int16_t nonterminal, int16_t next) {
    const Symbols row = list(control.prslst, control.prsndx[nonterminal - control.goaltoken], 2);
    for (size_t at = 0; at < row.size(); at += 2)
        if (row[at] == next)
            return row[at + 1];
    return 0;
}

std::string echo(std::string_view text) {
    std::string shown(whole_characters(text, LONGEST_ECHO_BYTES));
    return fmt::format("\"{}{}\"", shown, shown.size() < text.size() ? "..." : "");
}

// Bytes above ASCII belong to names, whatever the encoding of the text is.
bool in_name(char c) {
    return is_letter(c) || is_digit(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

std::string_view take_while(std::string_view &text, bool (*belongs)(char)) {
    const auto end = std::find_if_not(text.begin(), text.end(), belongs);
    const auto taken = text.substr(0, static_cast<size_t>(end - text.begin()));
    text.remove_prefix(taken.size());
    return taken;
}

void pass_blanks(std::string_view &text) {
    for (;;) {
        take_while(text, [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
        const size_t end = text.starts_with("/*") ? text.find("*/", 2) : std::string_view::npos;
        if (end == std::string_view::npos)
            return;
        text.remove_prefix(end + 2);
    }
}

// Takes one level of a name: NAME, 'text' or 'text'n, where a doubled quote stands for one. Its class; PARSE_NO_TOKEN
// when the text begins with none or a quote has no end.
int16_t take_level(std::string_view &text, std::string &level) {
    if (text.empty() || is_digit(text.front()))
        return PARSE_NO_TOKEN;
    const char quote = text.front();
    if (quote != '\'' && quote != '"') {
        level = take_while(text, in_name);
        return level.empty() ? PARSE_NO_TOKEN : PARSE_NAME;
    }
    for (size_t at = 1; at < text.size(); ++at) {
        if (text[at] == quote && text.substr(at + 1, 1) != text.substr(at, 1)) {
            const bool is_literal = lower_case(text.substr(at + 1, 1)) == "n";
            text.remove_prefix(at + (is_literal ? 2 : 1));
            return is_literal ? PARSE_NAME_LITERAL : PARSE_QUOTED_STRING;
        }
        at += text[at] == quote ? 1 : 0;
        level += text[at];
    }
    return PARSE_NO_TOKEN;
}

} // namespace

void StatementParser::set_statements(std::string text) {
    pending_ = std::move(text);
    cursor_ = 0;
    procedure_.statement = nullptr;
    procedure_.error = 0;
}

int32_t StatementParser::xttpsh(const char *text, int32_t length) {
    pending_.insert(0, text, static_cast<size_t>(length));
    return 0;
}

int32_t StatementParser::xsproc(PARSECONTROL *control, PROCSTR *procedure, int32_t /*debug*/,
                                USERINTERACT * /*interaction*/) {
    statement_ = {};
    fields_.clear();
    procedure_.statement = nullptr;
    procedure->error = 0;
    for (Statement statement = next_statement(control); statement.size() > 1; statement = next_statement(control))
        if (!parse(control, statement))
            procedure->error = 1;
    procedure->statement = procedure_.statement;
    pending_.clear();
    cursor_ = 0;
    return procedure->error;
}

int32_t StatementParser::vir2g(const char *name, PARSE_ROUTINE *routine, TASK * /*task*/, void * /*anchor*/) {
    const std::string_view wanted(name);
    *routine = wanted == PARSE_STANDARD_TOKEN      ? standard_token
               : wanted == PARSE_STANDARD_SEMANTIC ? standard_semantic
                                                   : nullptr;
    return *routine == nullptr ? 1 : 0;
}

int32_t StatementParser::standard_token(PARSECONTROL *control, void *engine, int32_t /*argument*/) {
    auto &parser = *static_cast<StatementParser *>(engine);
    std::string_view text = parser.pending_;
    text.remove_prefix(parser.cursor_);
    pass_blanks(text);
    parser.token_ = scan(*control, text);
    parser.cursor_ = parser.pending_.size() - text.size() + parser.token_.text.size();
    return parser.token_.type;
}

int32_t StatementParser::standard_semantic(PARSECONTROL *control, void *engine, int32_t action) {
    auto &parser = *static_cast<StatementParser *>(engine);
    const int16_t start = control->argndx[action - 1];
    const Symbols arguments = start < 0 ? Symbols() : list(control->argtbl, start);
    switch (control->actmap[action - 1]) {
    case PARSE_OPEN_STATEMENT:
        parser.procedure_.statement = &parser.statement_;
        break;
    case PARSE_RESERVE_FIELDS:
        parser.reserve_fields(static_cast<size_t>(arguments[0]));
        break;
    case PARSE_SELECT_FIELDS:
        parser.selected_fields_.assign(arguments.begin(), arguments.end());
        for (const int16_t field : arguments)
            parser.set_field(field, PARSE_NO_TOKEN, {});
        break;
    case PARSE_STORE_NAME: {
        const std::vector<std::string> &names = parser.next_->names;
        for (size_t level = 0; level < std::min(names.size(), parser.selected_fields_.size()); ++level)
            if (!names[level].empty())
                parser.set_field(parser.selected_fields_[level], parser.next_->type, names[level]);
        break;
    }
    default:
        break;
    }
    return 0;
}

// The token at the start of a text that begins with no blank.
StatementParser::Token StatementParser::scan(const PARSECONTROL &control, std::string_view text) {
    const auto literals_end = static_cast<int16_t>(control.maxterminal); // the last type is the end of the input
    const auto first_literal = static_cast<int16_t>(control.maxlexical + 1);
    if (text.empty())
        return {.type = literals_end};
    std::string_view rest = text;
    std::string level;
    Token token{.type = take_level(rest, level)};
    if (token.type == PARSE_NO_TOKEN) {
        const bool unfinished = text.starts_with("/*") || text.front() == '\'' || text.front() == '"';
        rest = text.substr(unfinished ? text.size() : 1);
        token.type = text.front() == ';' ? PARSE_END_OF_STATEMENT : PARSE_NO_TOKEN;
    } else {
        token.names.push_back(level);
    }
    if (token.type != PARSE_QUOTED_STRING && !token.names.empty() && rest.starts_with('.')) {
        rest.remove_prefix(1);
        std::string second;
        const int16_t type = take_level(rest, second);
        token.type = type == PARSE_NAME || type == PARSE_NAME_LITERAL ? PARSE_TWO_LEVEL_NAME : PARSE_FORMAT;
        if (token.type == PARSE_FORMAT)
            take_while(rest, is_digit);
        else
            token.names.push_back(std::move(second));
    }
    token.text = text.substr(0, text.size() - rest.size());
    for (int16_t type = first_literal; type < literals_end; ++type)
        if (same_but_for_case(literal(control, type), token.text)) {
            token.word = token.type == PARSE_NAME;
            token.type = type;
            break;
        }
    return token;
}

// The tokens up to and with the end of a statement, and the end of the input behind them; that end alone when there is
// no statement any more.
StatementParser::Statement StatementParser::next_statement(PARSECONTROL *control) {
    const auto end_type = static_cast<int16_t>(control->maxterminal);
    Statement statement;
    while (statement.empty() || statement.back().type != PARSE_END_OF_STATEMENT) {
        token_ = {};
        const auto type = static_cast<int16_t>(control->token(control, this, 0));
        token_.type = type;
        if (type == end_type)
            break;
        if (type != PARSE_END_OF_STATEMENT || !statement.empty())
            statement.push_back(token_);
    }
    statement.push_back({.type = end_type});
    return statement;
}

// False when the statement does not fit the grammar.
bool StatementParser::parse(PARSECONTROL *control, const Statement &statement) {
    std::vector<Step> steps;
    const size_t misfit = follow(*control, statement, steps);
    if (misfit < statement.size()) {
        const std::string &found = statement[misfit].text;
        messages_.gather(fmt::format("The statement that begins with {} is not used: {}", echo(statement.front().text),
                                     found.empty() ? "it has no end" : echo(found) + " does not fit"));
        return false;
    }
    for (const Step &step : steps) {
        next_ = &statement[std::min(step.next, statement.size() - 1)];
        control->semantic(control, this, step.action);
    }
    return true;
}

// Follows a statement through the parse table from the goal to its end; the index of the first token that does not fit.
size_t StatementParser::follow(const PARSECONTROL &control, const Statement &statement, std::vector<Step> &steps) {
    std::vector<int16_t> stack{static_cast<int16_t>(control.goaltoken)};
    size_t next = 0;
    while (!stack.empty()) {
        const int16_t symbol = stack.back();
        stack.pop_back();
        if (symbol < 0) {
            steps.push_back({static_cast<int16_t>(-symbol), next});
            continue;
        }
        const int16_t kind = terminal(control, statement[next].type);
        const int16_t other_kind = statement[next].word ? terminal(control, PARSE_NAME) : kind;
        if (symbol <= control.maxterminal) {
            if (symbol != kind && symbol != other_kind)
                return next;
            ++next;
            continue;
        }
        const int16_t chosen = production(control, symbol, kind);
        const int16_t taken = chosen != 0 ? chosen : production(control, symbol, other_kind);
        if (taken == 0 || stack.size() > static_cast<size_t>(control.maxprslsz))
            return next;
        const Symbols parts = list(control.prdlst, control.prdndx[taken - 1]);
        stack.insert(stack.end(), parts.begin(), parts.end());
    }
    return statement.size();
}

void StatementParser::reserve_fields(size_t count) {
    if (count <= fields_.size())
        return;
    fields_.resize(count);
    names_.resize(count);
    for (size_t field = 0; field < count; ++field)
        fields_[field].value = &names_[field];
    statement_.fields = static_cast<int32_t>(count);
    statement_.list = fields_.data();
}

void StatementParser::set_field(int16_t field, int16_t type, std::string_view name) {
    reserve_fields(static_cast<size_t>(field) + 1);
    U_SNAME &value = names_[static_cast<size_t>(field)];
    value.length = static_cast<int16_t>(std::min(name.size(), sizeof value.text));
    std::copy_n(name.data(), value.length, value.text);
    fields_[static_cast<size_t>(field)].type = static_cast<uint8_t>(type);
}

} // namespace vor::services
