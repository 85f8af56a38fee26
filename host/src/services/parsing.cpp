// The engine: statements out of the pending text, one after the other, through the grammar, and their names into the
// procedure's statement.

#include "services/parsing.h"

#include "services/parsing_grammar.h"
#include "text/utf8.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <span>

namespace vor {
namespace {

constexpr size_t longest_echo = 40; // bytes of the user's text in a message

// The user's text for a message: short, on one line.
std::string echo(const Token &token) {
    if (token.text.empty())
        return "the end of the statements";
    std::string text(services::whole_characters(token.text, longest_echo));
    if (text.size() < token.text.size())
        text += "...";
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
    return '"' + text + '"';
}

std::string one_of(const std::vector<std::string> &names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return text;
}

} // namespace

// A statement record with what it points to.
struct StatementParser::Statement {
    STMT record{};
    std::vector<STLIST> list;
    std::vector<U_SNAME> names; // a field's value, by field

    void reserve(size_t fields) {
        if (fields <= list.size())
            return;
        list.resize(fields);
        names.resize(fields);
        for (size_t i = 0; i < fields; ++i)
            list[i].value = &names[i];
        record.fields = static_cast<int32_t>(fields);
        record.list = list.data();
    }

    void set(size_t field, int16_t type, std::string_view name) {
        const size_t length = std::min(name.size(), sizeof names[field].text);
        std::copy_n(name.data(), length, names[field].text);
        names[field].length = static_cast<int16_t>(length);
        list[field].type = static_cast<uint8_t>(type);
    }
};

StatementParser::StatementParser(LogLine log) : log_(std::move(log)) {}

StatementParser::~StatementParser() = default;

void StatementParser::set_statements(std::string text) {
    pending_ = std::move(text);
    cursor_ = 0;
    column_ = 1;
    pool_.clear();
    mark_ = 0;
    statement_.reset();
    procedure_.statement = nullptr;
    procedure_.error = 0;
}

void *StatementParser::xtanch() {
    return &pool_;
}

int32_t StatementParser::xttpshx(void *anchor) {
    if (anchor != &pool_)
        return 1;
    mark_ = pool_.size();
    return 0;
}

int32_t StatementParser::xttpsh(const char *text, int32_t length) {
    pending_.replace(0, cursor_, text, static_cast<size_t>(length));
    column_ += static_cast<int64_t>(cursor_) - length;
    cursor_ = 0;
    return 0;
}

int32_t StatementParser::xhqrel(int32_t /*mark*/, int32_t /*pool*/) {
    pool_.resize(std::min(mark_, pool_.size()));
    mark_ = 0;
    return 0;
}

int32_t StatementParser::xsproc(PARSECONTROL *control, PROCSTR *procedure, int32_t debug,
                                USERINTERACT * /*interaction*/) {
    const Grammar grammar(*control);
    debug_ = debug;
    statement_.reset();
    selected_fields_.clear();
    procedure->error = 0;
    for (std::vector<Token> tokens = next_statement(control, grammar); tokens.size() > 1;
         tokens = next_statement(control, grammar))
        if (!parse_statement(control, grammar, std::move(tokens)))
            procedure->error = 1;
    procedure->statement = statement_ ? &statement_->record : nullptr;
    column_ += static_cast<int64_t>(cursor_);
    pending_.erase(0, cursor_);
    cursor_ = 0;
    return procedure->error;
}

int32_t StatementParser::vir2g(const char *name, PARSE_ROUTINE *routine) {
    const std::string_view wanted(name);
    *routine = wanted == PARSE_STANDARD_TOKEN      ? standard_token
               : wanted == PARSE_STANDARD_SEMANTIC ? standard_semantic
                                                   : nullptr;
    return *routine == nullptr ? 1 : 0;
}

int32_t StatementParser::standard_token(PARSECONTROL *control, void *engine, int32_t /*argument*/) {
    auto &parser = *static_cast<StatementParser *>(engine);
    const Grammar grammar(*control);
    parser.token_ = scan_token(parser.pending_, parser.cursor_, grammar.literals(), grammar.end_type());
    parser.cursor_ = parser.token_.position + parser.token_.text.size();
    return parser.token_.type;
}

int32_t StatementParser::standard_semantic(PARSECONTROL *control, void *engine, int32_t action) {
    auto &parser = *static_cast<StatementParser *>(engine);
    std::span<const int16_t> arguments;
    if (const int16_t start = control->argndx[action - 1]; start >= 0)
        arguments = {control->argtbl + start + 1, static_cast<size_t>(control->argtbl[start])};
    switch (control->actmap[action - 1]) {
    case PARSE_OPEN_STATEMENT:
        parser.current_statement();
        break;
    case PARSE_RESERVE_FIELDS:
        parser.current_statement().reserve(static_cast<size_t>(arguments[0]));
        break;
    case PARSE_SELECT_FIELDS:
        parser.selected_fields_.assign(arguments.begin(), arguments.end());
        for (const int16_t field : arguments) {
            parser.current_statement().reserve(static_cast<size_t>(field) + 1);
            parser.current_statement().set(static_cast<size_t>(field), PARSE_NO_TOKEN, {});
        }
        break;
    case PARSE_STORE_NAME:
        parser.store_name();
        break;
    default:
        break;
    }
    return 0;
}

// The tokens up to and with the end of a statement, and the end of the input behind them; that end alone when there is
// no statement any more.
std::vector<Token> StatementParser::next_statement(PARSECONTROL *control, const Grammar &grammar) {
    const int16_t end_type = grammar.end_type();
    std::vector<Token> tokens;
    for (;;) {
        const auto type = static_cast<int16_t>(control->token(control, this, 0));
        if ((debug_ & PARSE_DEBUG_SYNTAX) != 0)
            report(Severity::note, token_, fmt::format("token type {}, {}", type, echo(token_)));
        if (type == end_type) {
            tokens.push_back(token_);
            return tokens;
        }
        if (type == PARSE_END_OF_STATEMENT && tokens.empty())
            continue;
        tokens.push_back(token_);
        if (type == PARSE_END_OF_STATEMENT) {
            tokens.push_back({.type = end_type, .word = false, .position = cursor_, .text = {}, .names = {}});
            return tokens;
        }
    }
}

// False when the statement does not fit the grammar and cannot be made to; it then has no effect.
bool StatementParser::parse_statement(PARSECONTROL *control, const Grammar &grammar, std::vector<Token> tokens) {
    if (const std::optional<Misfit> misfit = follow(grammar, tokens)) {
        const std::optional<Repair> repair = cheapest_repair(grammar, tokens);
        const std::string found = misfit_text(grammar, tokens, *misfit);
        if (!repair) {
            report(Severity::error, tokens[misfit->token], found + "; the statement is not used");
            return false;
        }
        report(Severity::note, tokens[misfit->token], found + "; " + repair_text(grammar, tokens, *repair));
        tokens = repair->tokens;
    }
    const size_t first = pool_.size();
    pool_.insert(pool_.end(), tokens.begin(), tokens.end());
    follow(grammar, std::span(pool_).subspan(first),
           [&](int16_t action, const Token &next) { perform(control, action, next); });
    return true;
}

void StatementParser::perform(PARSECONTROL *control, int32_t action, const Token &next) {
    next_ = &next;
    if ((debug_ & PARSE_DEBUG_SEMANTICS) != 0)
        report(Severity::note, next, fmt::format("action {}, operation {}", action, control->actmap[action - 1]));
    control->semantic(control, this, action);
}

void StatementParser::store_name() {
    const size_t levels = std::min(selected_fields_.size(), next_->names.size());
    for (size_t level = 0; level < levels; ++level)
        if (const std::string &name = next_->names[level]; !name.empty())
            current_statement().set(static_cast<size_t>(selected_fields_[level]), next_->type, name);
}

StatementParser::Statement &StatementParser::current_statement() {
    if (!statement_)
        statement_ = std::make_unique<Statement>();
    return *statement_;
}

void StatementParser::report(Severity severity, const Token &where, const std::string &text) {
    const int64_t column = std::max<int64_t>(1, column_ + static_cast<int64_t>(where.position));
    log_(severity, fmt::format("Statements, column {}: {}.", column, text));
}

std::string StatementParser::misfit_text(const Grammar &grammar, const std::vector<Token> &tokens,
                                         const Misfit &misfit) const {
    std::vector<std::string> expected;
    for (const int16_t terminal : misfit.expected)
        expected.push_back(grammar.name(terminal));
    return fmt::format("{} found where {} was expected", echo(tokens[misfit.token]), one_of(expected));
}

std::string StatementParser::repair_text(const Grammar &grammar, const std::vector<Token> &tokens,
                                         const Repair &repair) const {
    std::string text;
    for (const Edit &edit : repair.edits) {
        text += text.empty() ? "" : ", ";
        text += edit.insertion ? grammar.name(edit.terminal) + " assumed before " + echo(tokens[edit.token])
                               : echo(tokens[edit.token]) + " left out";
    }
    return text;
}

} // namespace vor
