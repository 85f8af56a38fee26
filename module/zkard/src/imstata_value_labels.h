// The value-label tables of a file: found by name through an index that is made once, delivered as one list for each
// variable. It does not know which variable is labelled.
#pragma once

#include "imstata_records.h"

#include <cstdint>

// load_stata_valuelist: the list of the table with that name, in the layout of the releases before 108;
// load_stata_valuelist_v6: in the later one.
//
// file        the open file; its position is unspecified afterwards
// head        out: the list in the table's order, null when the table is not there or empty. Each call makes a list of
//             its own; the texts in it are shared and not to be written to. The session owns both.
// table_name  terminated; letter case and trailing white space do not count, and of equal names the first counts
// name_bytes  width of a table's name in the file
// 0
// ERROR_INPUT_INVALID  the table's length does not fit the file, or its contents do not fit its length (message_string
//                      names it); the same of a table in front of a name that was not found
// ERROR_READ           the file ends inside a table's name, or could not be read
// ERROR_SEEK, ERROR_MEMORY
int32_t load_stata_valuelist(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name);
int32_t load_stata_valuelist_v6(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name,
                                int32_t name_bytes);
