// The statement parser: the parse-control record that carries a grammar, and what a parse leaves behind.
#pragma once

#include <cstdint>

struct PARSECONTROL;
struct PROCSTR;
struct STMT;

// A routine of the host's engine. A token routine takes the next token from the pending input and returns its type, 0
// for text that is no token (argument 0). A semantic routine carries out the action numbered `argument`; 0.
using PARSE_ROUTINE = int32_t (*)(PARSECONTROL *control, void *engine, int32_t argument);

// The standard routines, by the names under which vir2g resolves them.
inline constexpr char PARSE_STANDARD_TOKEN[] = "XSTOKEN";
inline constexpr char PARSE_STANDARD_SEMANTIC[] = "XSSEMAN";

// Token types. Those above the record's maxlexical are the literal texts of the terminals that symmap gives for them,
// up to the end of the input; words match without regard to letter case, and where the grammar has no place for such a
// word it counts as a name. The standard token routine makes the types whose form is given here, and of everything
// else PARSE_NO_TOKEN.
enum PARSE_TOKEN : int16_t {
    PARSE_NO_TOKEN = 0,
    PARSE_END_OF_STATEMENT, // ;
    PARSE_NAME,             // letters, digits, _ and bytes above ASCII, no digit first
    PARSE_QUOTED_STRING,    // 'text' or "text", the quote doubled inside
    PARSE_INTEGER,
    PARSE_NUMBER,
    PARSE_TWO_LEVEL_NAME, // first.second
    PARSE_FORMAT,         // NAME. or NAMEw.d
    PARSE_DATE,
    PARSE_TIME,
    PARSE_DATETIME,
    PARSE_MISSING,
    PARSE_NAME_LITERAL, // 'text'n
    PARSE_CATALOG_ENTRY,
    PARSE_DATA_SET,
    PARSE_RESERVED_1,
    PARSE_RESERVED_2,
    PARSE_RESERVED_3,
    PARSE_RESERVED_4,
    PARSE_RESERVED_5,
};

// Operations of the standard semantic routine. Fields are numbered as in STMT.list.
enum PARSE_OPERATION : int16_t {
    PARSE_NO_OPERATION = 0,
    PARSE_OPEN_STATEMENT, // the procedure gets a statement, unless it has one
    PARSE_RESERVE_FIELDS, // n: the statement's list has at least n entries
    PARSE_SELECT_FIELDS,  // fields: they become "not given"; the next name goes there, its levels in this order
    PARSE_STORE_NAME,     // the token that comes next is that name
};

// A grammar as tables. Symbols are numbered from 1: terminals 1 to maxterminal, of which the last is the end of input,
// then non-terminals from the goal on. Tables indexed by symbol (symndx, delcost, inscost) start at symbol 1;
// tables indexed by production (lhstbl, prdndx), by action (actmap, argndx) and by token type (symmap) start at number
// 1 as well.
struct PARSECONTROL {
    int32_t revision;
    int32_t goaltoken;
    int32_t maxterminal;
    int32_t maxprslsz;  // most symbols on the parse stack
    int32_t maxcost;    // the cost that forbids a repair
    int32_t valcost;    // the highest cost of a statement's repair that is still made
    int32_t inslen;     // most symbols that one repair inserts
    int32_t maxlexical; // token types up to this one are lexical classes; those above are literal texts
    int32_t symbols;    // symbols in all
    int32_t productions;
    int32_t actions;
    int32_t flags;
    void *tracking;         // a token-pool anchor
    PARSE_ROUTINE token;    // null: the driver resolves the standard routine by name
    PARSE_ROUTINE semantic; // the same
    const int16_t *prdlst;  // right sides: a count, then that many symbols, the last one first, actions negative
    const int16_t *prdndx;  // per production: where its right side starts in prdlst
    const int16_t *lhstbl;  // per production: its left side
    const int16_t *prslst;  // parse table rows: a count, then pairs of lookahead symbol and production
    const int16_t *prsndx;  // per non-terminal, the goal first: where its row starts in prslst
    const int16_t *actmap;  // per action: the engine's operation number
    const int16_t *argndx;  // per action: where its arguments start in argtbl, -1 for none
    const int16_t *argtbl;  // a count, then that many arguments
    const char *symtbl;     // terminal texts, each with its length in front
    const int16_t *symndx;  // per terminal: where its text starts in symtbl
    const int16_t *symmap;  // per token type: the terminal
    const int16_t *delcost; // per terminal
    const int16_t *inscost; // per symbol
    const int16_t *insndx;  // per non-terminal, the goal first: where its insertion starts in instbl, -1 for none
    const int16_t *instbl;  // a count, then that many symbols, the first one first
};

// What the user may do while a parse runs; all zero for none. The standard engine offers nothing and looks at none.
struct USERINTERACT {
    int32_t action;
    int32_t reserved;
    void (*before)(void *argument);
    void (*after)(void *argument);
};

inline constexpr int32_t USERINTERACT_ENTRIES = 8;

// A counted name as the value of a statement field.
struct U_SNAME {
    int16_t length;
    char text[254]; // not terminated
};

// One field of a statement.
struct STLIST {
    uint8_t type; // 0: the field was not given; else the PARSE_TOKEN of its name
    uint8_t reserved[7];
    const U_SNAME *value;
};

// A parsed statement.
struct STMT {
    STMT *next;
    uint8_t options[8]; // options[0]: STMT_INFORMAT, STMT_FORMAT
    int32_t fields;     // entries of the field list; entry 0 is the host's own
    int32_t reserved;
    const STLIST *list;
};

inline constexpr uint8_t STMT_INFORMAT = 8;
inline constexpr uint8_t STMT_FORMAT = 4;

// The running procedure.
struct PROCSTR {
    STMT *statement; // the current statement, null before a parse
    int32_t error;   // not 0 when the parse failed
    int32_t debug;   // bits PROCSTR_DEBUG_SYNTAX and PROCSTR_DEBUG_SEMANTICS
};

inline constexpr int32_t PROCSTR_DEBUG_SYNTAX = 1;
inline constexpr int32_t PROCSTR_DEBUG_SEMANTICS = 2;

// Debug mask of the engine.
inline constexpr int32_t PARSE_DEBUG_SEMANTICS = 1;
inline constexpr int32_t PARSE_DEBUG_SYNTAX = 2;

// What a parse slot of the access object is told about the statement; the module looks at nothing in it.
struct PRSINFO;
