// Reading the grammar tables, and following a statement through the parse table with a stack of expected symbols.

#include "services/parsing_grammar.h"

#include <algorithm>
#include <array>

namespace vor {
namespace {

// How people call the lexical classes, by token type.
constexpr std::array<std::string_view, PARSE_RESERVED_5 + 1> class_names = {
    "",
    "\";\"",
    "a name",
    "a quoted string",
    "a whole number",
    "a number",
    "a two-level name",
    "a format name",
    "a date",
    "a time",
    "a date and time",
    "a missing value",
    "a name literal",
    "a catalog entry",
    "a data set",
    "a reserved word",
    "a reserved word",
    "a reserved word",
    "a reserved word",
    "a reserved word",
};

// Whether a terminal could come next, given the symbols still expected.
bool accepts(const Grammar &grammar, std::vector<int16_t> stack, int16_t terminal) {
    while (!stack.empty()) {
        const int16_t symbol = stack.back();
        stack.pop_back();
        if (symbol < 0)
            continue;
        if (grammar.is_terminal(symbol))
            return symbol == terminal;
        const int16_t production = grammar.production(symbol, terminal);
        if (production == 0)
            return false;
        for (const int16_t part : grammar.right_side(production))
            stack.push_back(part);
    }
    return false;
}

Misfit misfit_at(const Grammar &grammar, size_t token, const std::vector<int16_t> &stack) {
    Misfit misfit{token, {}};
    for (int16_t terminal = 1; terminal <= grammar.control().maxterminal; ++terminal)
        if (accepts(grammar, stack, terminal))
            misfit.expected.push_back(terminal);
    return misfit;
}

} // namespace

int16_t Grammar::terminal(int16_t token_type) const {
    return token_type == PARSE_NO_TOKEN ? int16_t{0} : control_.symmap[token_type - 1];
}

int16_t Grammar::end_type() const {
    int16_t type = static_cast<int16_t>(control_.maxterminal);
    while (terminal(type) != control_.maxterminal)
        --type;
    return type;
}

std::vector<LiteralText> Grammar::literals() const {
    std::vector<LiteralText> literals;
    for (int32_t type = control_.maxlexical + 1; type <= control_.maxterminal; ++type) {
        const int16_t symbol = terminal(static_cast<int16_t>(type));
        const char *text = control_.symtbl + control_.symndx[symbol - 1];
        if (symbol != control_.maxterminal)
            literals.push_back({{text + 1, static_cast<size_t>(*text)}, static_cast<int16_t>(type)});
    }
    return literals;
}

std::string Grammar::name(int16_t symbol) const {
    if (symbol == control_.maxterminal)
        return "the end of the statement";
    const size_t types = std::min(class_names.size(), static_cast<size_t>(control_.maxlexical) + 1);
    for (size_t type = 1; type < types; ++type)
        if (control_.symmap[type - 1] == symbol)
            return std::string(class_names[type]);
    const char *text = control_.symtbl + control_.symndx[symbol - 1];
    return '"' + std::string(text + 1, static_cast<size_t>(*text)) + '"';
}

int16_t Grammar::production(int16_t nonterminal, int16_t symbol) const {
    const int16_t *row = control_.prslst + control_.prsndx[nonterminal - control_.goaltoken];
    for (int16_t pair = 0; pair < row[0]; ++pair)
        if (row[1 + 2 * pair] == symbol)
            return row[2 + 2 * pair];
    return 0;
}

Grammar::Symbols Grammar::insertion(int16_t nonterminal) const {
    const int16_t start = control_.insndx[nonterminal - control_.goaltoken];
    return start < 0 ? Symbols() : list(control_.instbl, start);
}

int32_t Grammar::deletion_cost(int16_t symbol) const {
    return symbol == 0 ? control_.maxcost : control_.delcost[symbol - 1];
}

bool Grammar::fits(const Token &token, int16_t symbol) const {
    return terminal(token.type) == symbol || (token.word && terminal(PARSE_NAME) == symbol);
}

int16_t Grammar::production_for(int16_t nonterminal, const Token &token) const {
    const int16_t found = production(nonterminal, terminal(token.type));
    return found == 0 && token.word ? production(nonterminal, terminal(PARSE_NAME)) : found;
}

std::optional<Misfit> follow(const Grammar &grammar, std::span<const Token> tokens, const ActionRoutine &action) {
    std::vector<int16_t> stack{grammar.goal()};
    size_t next = 0;
    while (!stack.empty()) {
        const int16_t symbol = stack.back();
        if (symbol < 0) {
            if (action)
                action(static_cast<int16_t>(-symbol), tokens[std::min(next, tokens.size() - 1)]);
            stack.pop_back();
        } else if (grammar.is_terminal(symbol)) {
            if (!grammar.fits(tokens[next], symbol))
                return misfit_at(grammar, next, stack);
            stack.pop_back();
            ++next;
        } else {
            const int16_t production = grammar.production_for(symbol, tokens[next]);
            const Grammar::Symbols parts = production == 0 ? Grammar::Symbols() : grammar.right_side(production);
            if (production == 0 || stack.size() + parts.size() > static_cast<size_t>(grammar.control().maxprslsz))
                return misfit_at(grammar, next, stack);
            stack.pop_back();
            stack.insert(stack.end(), parts.begin(), parts.end());
        }
    }
    return std::nullopt;
}

} // namespace vor
