// The index over the value-label tables of a file: one pass reads them all into memory, however many variables name
// them. It knows where a table begins and ends, not what stands in it.
#pragma once

#include "imglue_tree.h"
#include "imstata_records.h"

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
    int64_t position; // of the body in the file
    bool used;        // found by find_label_table
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
int32_t find_label_table(indbsrec *in, WX_FILE *file, const char *name, int32_t name_bytes, const label_table **table);

// count_unused_tables: how many tables of the index no variable has asked for; 0 without an index.
int64_t count_unused_tables(const indbsrec *in);
