// The value-label tables of a file: one pass reads them all into memory, however many variables name them, and makes an
// index; each labelled variable gets a list made from its table. Neither knows which variable is labelled.
#pragma once

#include "imglue_tree.h"
#include "imstata_records.h"
#include "vor/extension.h"

#include <cstdint>

// A table; a node of the index.
struct label_table {
    avlstruct avlrec;
    label_table *next; // in the file
    uint32_t hash;     // of the name
    int32_t entries;   // of a table with short texts
    const char *name;  // terminated
    char *body;        // body_bytes, and a zero byte behind them
    int64_t body_bytes;
    int64_t position;        // of the body in the file
    bool used;               // found by find_label_table
    innamevaluestruct *list; // of the variables with this table; null: not made
};

// Parts of a table with short texts, in bytes.
inline constexpr int32_t SHORT_VALUE_BYTES = 2;
inline constexpr int32_t SHORT_TEXT_BYTES = 8;
inline constexpr int32_t SHORT_ENTRY_BYTES = SHORT_VALUE_BYTES + SHORT_TEXT_BYTES;

// find_label_table: the table with that name; the first call makes the index.
//
// file        the open file; its position is unspecified afterwards
// name        terminated; letter case and trailing white space do not count, and of equal names the first counts
// name_bytes  width of a table's name in the file
// table       out: the table, of the session; null when there is none
// 0
// ERROR_INPUT_INVALID  the length of a table does not fit the file, and the wanted one does not stand in front of it;
//                      or the section is not where the map says. message_string tells.
// ERROR_READ           the same of a table whose name is cut off; or the file could not be read
// ERROR_SEEK, ERROR_MEMORY
status find_label_table(indbsrec *in, WX_FILE *file, const char *name, int32_t name_bytes, label_table **table);

// first_label_table: all tables of the file, once, linked in its order. Where a table does not fit the file, it and
// those behind it are left out with a warning. 0, ERROR_SEEK, ERROR_MEMORY or ERROR_READ.
status first_label_table(indbsrec *in, WX_FILE *file, const label_table **first);

// count_unused_tables: how many tables of the index no variable has asked for; 0 without an index.
int64_t count_unused_tables(const indbsrec *in);

// load_stata_valuelist: the list of the table with that name, in the layout of the releases before 108;
// load_stata_valuelist_v6: in the later one.
//
// file        the open file; its position is unspecified afterwards
// head        out: the list in the table's order, null when the table is not there or empty. Variables with one
//             table have one list, which is not to be written to. The session owns it.
// table_name  terminated; letter case and trailing white space do not count, and of equal names the first counts
// name_bytes  width of a table's name in the file
// 0
// ERROR_INPUT_INVALID  the table's length does not fit the file, or its contents do not fit its length (message_string
//                      names it); the same of a table in front of a name that was not found
// ERROR_READ           the file ends inside a table's name, or could not be read
// ERROR_SEEK, ERROR_MEMORY
status load_stata_valuelist(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name);
status load_stata_valuelist_v6(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name,
                               int32_t name_bytes);

// list_labels: a table as the host's facts have it; the session owns its labels.
//
// 0, ERROR_MEMORY, or ERROR_INPUT_INVALID when the table's contents do not fit its length; message_string names it.
status list_labels(indbsrec *in, const label_table *table, vor_label_table *listed);
