// Import: a labelled variable's value labels become a host user format. Export: a user format becomes a value list.
#pragma once

#include "driver_records.h"
#include "imglue_names.h"

#include <cstdint>

struct symbolstruct;

// make_unique_format: derive a format name of at most 8 bytes from a variable's name, new among the formats of this
// import (`outnamehead`) and not known to the host.
void make_unique_format(IMGLUE *self, char *format, const char *varname, outnamestruct **outnamehead,
                        int32_t is_char_var);

// mivex_build_format_entry: store the value list as a user format in the catalog that the options name, and make the
// format the variable's display format. 0, or ERROR_MEMORY for the copy of the name; the builder's own problems are
// logged or ignored.
int32_t mivex_build_format_entry(IMGLUE *self, innamerecord *inname, innamevaluestruct *valuelistptr,
                                 const char *formatname, int32_t var_is_num);

// grab_user_format_entries: read the user format of that name and hang its single values on the symbol.
// 0 (also for a built-in or unknown format), 1 when it is not usable (logged), ERROR_MEMORY.
int32_t grab_user_format_entries(IMGLUE *self, const char *name, int32_t len, symbolstruct *symbol);

// create_value_list_entry, create_value_list_entry_character: append one entry to a value list. 0 or ERROR_MEMORY.
int32_t create_value_list_entry(IMGLUE *self, double value, int32_t display_length, const char *display,
                                innamevaluestruct **head, innamevaluestruct **tail);
int32_t create_value_list_entry_character(IMGLUE *self, const char *value, int32_t value_length, int32_t display_length,
                                          const char *display, innamevaluestruct **head, innamevaluestruct **tail);
