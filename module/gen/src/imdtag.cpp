// The grammar of the statements that may follow an import or export step, as the tables of the host's parse engine:
//
//     ADTA ;                          opens the module's own statement
//     FMTLIB = library.catalog ;      where user formats are stored and read
//
// It knows symbols, productions, costs and which operation each semantic action asks for; the engine does the parsing.
#include "service_entries.h"
#include "vor/imglue.h"
#include "xsparse.h"

namespace {

enum symbol : int16_t {
    ENDJB = 1,
    NAMEX,
    QS,
    INT,
    NBR,
    COMPOUND,
    FMT,
    DATE,
    TIME,
    DATETIME,
    MISSING,
    VLITERAL,
    CATNAME,
    VORDS,
    RESERVED1,
    RESERVED2,
    RESERVED3,
    RESERVED4,
    RESERVED5,
    LEFT_PARENTHESIS,
    RIGHT_PARENTHESIS,
    EQUALS,
    ADTA,
    FMTLIB,
    END_OF_INPUT,
    GOAL,
    FMTLIB_STATEMENT,
    ADTA_STATEMENT,
    STATEMENT,
    PARENTHESISED,
    INNER,
    NAME,
    CATALOG_SPEC,
    TERMINATED_STATEMENT,
    INPUT,
};

constexpr int32_t TERMINALS = END_OF_INPUT;
constexpr int32_t SYMBOLS = INPUT;
constexpr int32_t NONTERMINALS = SYMBOLS - TERMINALS;
constexpr int32_t PRODUCTIONS = 16;
constexpr int32_t ACTIONS = 50;
constexpr int16_t NEVER = 127; // a cost

constexpr char symtbl[] = "\5ENDJB\5NAMEX\2QS\3INT\3NBR\10COMPOUND\3FMT\4DATE\4TIME\10DATETIME\7MISSING\10VLITERAL"
                          "\7CATNAME\5VORDS\11RESERVED1\11RESERVED2\11RESERVED3\11RESERVED4\11RESERVED5"
                          "\1(\1)\1=\4ADTA\6FMTLIB\3$$$";

// clang-format off
constexpr int16_t lhstbl[PRODUCTIONS] = {
    GOAL, FMTLIB_STATEMENT, ADTA_STATEMENT, STATEMENT, STATEMENT, PARENTHESISED, PARENTHESISED, INNER,
    NAME, NAME, NAME, NAME, NAME, CATALOG_SPEC, TERMINATED_STATEMENT, INPUT,
};

// Right sides: the count, then the symbols from the last to the first.
constexpr int16_t prdlst[] = {
    2, END_OF_INPUT, INPUT,                                     //  1
    4, CATALOG_SPEC, -50, EQUALS, FMTLIB,                       //  2
    5, -49, ADTA, -48, -47, -46,                                //  3
    1, ADTA_STATEMENT,                                          //  4
    1, FMTLIB_STATEMENT,                                        //  5
    7, -8, RIGHT_PARENTHESIS, INNER, -7, LEFT_PARENTHESIS, -6, -5, //  6
    0,                                                          //  7
    0,                                                          //  8
    1, NAMEX,                                                   //  9
    1, VLITERAL,                                                // 10
    1, COMPOUND,                                                // 11
    1, FMT,                                                     // 12
    1, QS,                                                      // 13
    5, PARENTHESISED, NAME, -4, -3, -2,                         // 14
    2, ENDJB, STATEMENT,                                        // 15
    1, TERMINATED_STATEMENT,                                    // 16
};

// Rows of the parse table: the count, then pairs of the symbol that comes next and the production to take.
constexpr int16_t prslst[] = {
    2, ADTA, 1, FMTLIB, 1,                                      // goal
    1, FMTLIB, 2,                                               // fmtlib-statement
    1, ADTA, 3,                                                 // adta-statement
    2, ADTA, 4, FMTLIB, 5,                                      // statement
    2, LEFT_PARENTHESIS, 6, ENDJB, 7,                           // parenthesised
    1, RIGHT_PARENTHESIS, 8,                                    // inner
    5, NAMEX, 9, VLITERAL, 10, COMPOUND, 11, FMT, 12, QS, 13,   // name
    5, NAMEX, 14, VLITERAL, 14, COMPOUND, 14, FMT, 14, QS, 14,  // catalog-spec
    2, ADTA, 15, FMTLIB, 15,                                    // terminated-statement
    2, ADTA, 16, FMTLIB, 16,                                    // input
};
// clang-format on

// The other actions only mark places in the grammar: the engine has nothing to do there.
struct action_entry {
    int16_t action;
    int16_t operation;
    int16_t arguments; // where they start in argtbl, -1 for none
};
constexpr action_entry working_actions[] = {
    {46, PARSE_OPEN_STATEMENT, -1}, // in front of ADTA
    {47, PARSE_RESERVE_FIELDS, 0},
    {50, PARSE_SELECT_FIELDS, 2}, // behind FMTLIB =
    {2, PARSE_STORE_NAME, -1},    // in front of a catalog's name
};
constexpr int16_t LIBRARY_FIELD = 1;
constexpr int16_t CATALOG_FIELD = 2;
// clang-format off
constexpr int16_t argtbl[] = {
    1, CATALOG_FIELD + 1, // entries of the field list
    2, LIBRARY_FIELD, CATALOG_FIELD,
};

constexpr int16_t delcost[TERMINALS] = {
    10,                                                 // ENDJB
    50, 50, 50, 50, 50, 50, 50, 50, 50, 50,             // NAMEX to MISSING
    10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, // VLITERAL to FMTLIB
    NEVER,                                              // end of input
};

constexpr int16_t inscost[SYMBOLS] = {
    10, 1, 2, 2, 4, 5, 3,                               // ENDJB to FMT
    50, 50, 50, 50,                                     // DATE to MISSING
    10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, // VLITERAL to FMTLIB
    NEVER,                                              // end of input
    NEVER, 21, 10, 10, 0, 0, 1, 1, 20, 20,              // the non-terminals
};

// What stands in for a whole non-terminal: the count, then the symbols from the first to the last.
constexpr int16_t insndx[NONTERMINALS] = {-1, 0, 4, 4, -1, -1, 6, 6, 8, 8};
constexpr int16_t instbl[] = {
    3, FMTLIB, EQUALS, NAMEX,                           // fmtlib-statement
    1, ADTA,                                            // adta-statement, statement
    1, NAMEX,                                           // name, catalog-spec
    2, ADTA, ENDJB,                                     // terminated-statement, input
};
// clang-format on

// The start of each list in a table of lists; a list is its count and `width` entries for each.
template <int32_t entries>
struct index_table {
    int16_t at[entries];
};

template <int32_t lists, class entry, int32_t size>
constexpr index_table<lists> index_lists(const entry (&table)[size], int32_t width) {
    index_table<lists> index = {};
    int32_t start = 0;
    for (int32_t i = 0; i < lists; ++i) {
        index.at[i] = static_cast<int16_t>(start);
        start += 1 + table[start] * width;
    }
    return index;
}

constexpr index_table<TERMINALS> number_from_one() {
    index_table<TERMINALS> numbers = {};
    for (int16_t i = 0; i < TERMINALS; ++i)
        numbers.at[i] = static_cast<int16_t>(i + 1);
    return numbers;
}

// The engine's token types are numbered as the terminals are.
static_assert(int{ENDJB} == PARSE_END_OF_STATEMENT && int{NAMEX} == PARSE_NAME && int{FMT} == PARSE_FORMAT &&
              int{MISSING} == PARSE_MISSING && int{VLITERAL} == PARSE_NAME_LITERAL &&
              int{RESERVED5} == PARSE_RESERVED_5);
constexpr auto symmap = number_from_one();

constexpr auto symndx = index_lists<TERMINALS>(symtbl, 1);
constexpr auto prdndx = index_lists<PRODUCTIONS>(prdlst, 1);
constexpr auto prsndx = index_lists<NONTERMINALS>(prslst, 2);

struct action_tables {
    int16_t operation[ACTIONS];
    int16_t arguments[ACTIONS];
};

constexpr action_tables spread_actions() {
    action_tables tables = {};
    for (int16_t &arguments : tables.arguments)
        arguments = -1;
    for (const action_entry &entry : working_actions) {
        tables.operation[entry.action - 1] = entry.operation;
        tables.arguments[entry.action - 1] = entry.arguments;
    }
    return tables;
}
constexpr action_tables actions = spread_actions();

constexpr PARSECONTROL grammar = {
    .revision = 1,
    .goaltoken = GOAL,
    .maxterminal = TERMINALS,
    .maxprslsz = 31,
    .maxcost = NEVER,
    .valcost = 63,
    .inslen = 12,
    .maxlexical = RESERVED5,
    .symbols = SYMBOLS,
    .productions = PRODUCTIONS,
    .actions = ACTIONS,
    .flags = 0,
    .tracking = nullptr,
    .token = nullptr,
    .semantic = nullptr,
    .prdlst = prdlst,
    .prdndx = prdndx.at,
    .lhstbl = lhstbl,
    .prslst = prslst,
    .prsndx = prsndx.at,
    .actmap = actions.operation,
    .argndx = actions.arguments,
    .argtbl = argtbl,
    .symtbl = symtbl,
    .symndx = symndx.at,
    .symmap = symmap.at,
    .delcost = delcost,
    .inscost = inscost,
    .insndx = insndx,
    .instbl = instbl,
};

} // namespace

PARSECONTROL *imdtag() {
    POOL *pool = v_global_gcb_anchor->pool;
    auto *control = static_cast<PARSECONTROL *>(pool->allocate(pool, sizeof(PARSECONTROL), POOL_GRAMMAR));
    if (control == nullptr) {
        xexit(HOST_TASK_NO_MEMORY, 0);
        return nullptr;
    }
    *control = grammar;
    return control;
}
