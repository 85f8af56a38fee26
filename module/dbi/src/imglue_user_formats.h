// Import: a labelled variable's value labels become a host user format. Export: a user format becomes a value list.
// The catalog is that of the FMTLIB option, WORK.FORMATS without one.
#pragma once

#include "driver_records.h"
#include "imglue_names.h"

#include <vor/formats.h>

#include <cstdint>

struct glue_grammar_struct;
struct symbolstruct;

// Longest name of a format made here; the area that receives one has a byte more.
inline constexpr int32_t FORMAT_NAME_BYTES = 8;

// The catalog of the user formats: names that are not terminated, with their lengths in bytes.
struct format_catalog {
    const char *library;
    int32_t library_bytes; // at most 8
    const char *member;
    int32_t member_bytes; // at most 32
};

// catalog_of: the catalog that the options name. The names belong to the options, or to the module.
format_catalog catalog_of(const glue_grammar_struct *options);

// make_unique_format: derive a format name from a variable's name, new among the formats of this import
// (`outnamehead`) and not known to the host.
//
// format       out: at most FORMAT_NAME_BYTES bytes, terminated; begins with '$' for a character variable and never
//              ends with a digit.
// varname      terminated.
// outnamehead  root of the tree of format names, null at first; receives the name.
void make_unique_format(IMGLUE *self, char *format, const char *varname, outnamestruct **outnamehead,
                        int32_t is_char_var);

// mivex_build_format_entry: store the value list as a user format in the catalog that the options name, and make the
// format the variable's display format, of width 0.
//
// inname        receives innameof and innameoutf.
// valuelistptr  may be null; of entries with the same value the first one counts.
// formatname    terminated, as make_unique_format gave it.
// 0, or ERROR_MEMORY for the copy of the name; the builder's own problems are logged, and a value that it refuses is
// left out.
status mivex_build_format_entry(IMGLUE *self, innamerecord *inname, innamevaluestruct *valuelistptr,
                                const char *formatname, int32_t var_is_num);

// grab_user_format_entries: read the user format of that name and hang its single values on the symbol, in the order
// of the catalog. Ranges, missing values, values without a label of their own and the label of all other values are
// left out.
//
// name    len bytes, not terminated; len at most 32.
// symbol  its symtype is set: a format of the other kind gives no list, since its values would not be the variable's.
// 0             also for a built-in format, which is not looked up, and for one that the catalog does not have
// 1             the format is not usable (logged); the symbol has no value list
// ERROR_MEMORY
int32_t grab_user_format_entries(IMGLUE *self, const char *name, int32_t len, symbolstruct *symbol);

// create_value_list_entry, create_value_list_entry_character: append one entry to a value list.
//
// display, value  copied; not terminated.
// head, tail      first and last entry, null for an empty list; both may change.
// 0, or ERROR_MEMORY, which leaves the list as it was.
status create_value_list_entry(IMGLUE *self, double value, int32_t display_length, const char *display,
                               innamevaluestruct **head, innamevaluestruct **tail);
status create_value_list_entry_character(IMGLUE *self, const char *value, int32_t value_length, int32_t display_length,
                                         const char *display, innamevaluestruct **head, innamevaluestruct **tail);
