// A grammar in the form of a parse-control record, and what can be done with it: follow a statement through it, and
// find the cheapest change that makes a statement fit. It knows symbols and costs, not what an action does.
#pragma once

#include "services/parsing_tokens.h"
#include "vor/parsing.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vor {

// A view of the tables; the record must outlive it.
class Grammar {
  public:
    explicit Grammar(const PARSECONTROL &control) : control_(control) {}

    using Symbols = std::span<const int16_t>;

    const PARSECONTROL &control() const { return control_; }
    int16_t goal() const { return static_cast<int16_t>(control_.goaltoken); }
    bool is_terminal(int16_t symbol) const { return symbol > 0 && symbol <= control_.maxterminal; }

    // The terminal of a token type, 0 for PARSE_NO_TOKEN; and the token type of the end of the input.
    int16_t terminal(int16_t token_type) const;
    int16_t end_type() const;

    // Texts that are tokens of their own, the end of the input left out.
    std::vector<LiteralText> literals() const;

    // How people call a terminal: "a name", "\"=\"".
    std::string name(int16_t terminal) const;

    // A production's right side, last symbol first.
    Symbols right_side(int16_t production) const { return list(control_.prdlst, control_.prdndx[production - 1]); }
    int16_t left_side(int16_t production) const { return control_.lhstbl[production - 1]; }

    // The production to take for a non-terminal before a terminal; 0 for none.
    int16_t production(int16_t nonterminal, int16_t terminal) const;

    // Symbols that stand in for a non-terminal, first symbol first.
    Symbols insertion(int16_t nonterminal) const;

    int32_t deletion_cost(int16_t terminal) const;
    int32_t insertion_cost(int16_t symbol) const { return control_.inscost[symbol - 1]; }

    // Whether a token can stand where the terminal is expected.
    bool fits(const Token &token, int16_t terminal) const;

    // production() for a token, which may be a word in a place for names.
    int16_t production_for(int16_t nonterminal, const Token &token) const;

  private:
    static Symbols list(const int16_t *table, int16_t start) {
        return {table + start + 1, static_cast<size_t>(table[start])};
    }

    const PARSECONTROL &control_;
};

// Where a statement leaves the grammar.
struct Misfit {
    size_t token;                  // index of the first token that does not fit
    std::vector<int16_t> expected; // the terminals that would
};

// Called at each semantic action, with the token that comes next.
using ActionRoutine = std::function<void(int16_t action, const Token &next)>;

// Follows a statement, whose last token is the end of the input, from the goal to its end. Nothing when it fits.
std::optional<Misfit> follow(const Grammar &grammar, std::span<const Token> tokens, const ActionRoutine &action = {});

struct Edit {
    bool insertion;   // else a deletion
    size_t token;     // index of the token deleted, or of the one in front of which the terminal was inserted
    int16_t terminal; // inserted
};

struct Repair {
    int32_t cost;
    std::vector<Edit> edits;   // in the order of the statement
    std::vector<Token> tokens; // the statement as it fits; an inserted token has no text and no name
};

// The cheapest repair within the grammar's limits; nothing when there is none.
std::optional<Repair> cheapest_repair(const Grammar &grammar, std::span<const Token> tokens);

} // namespace vor
