// Import: a variable's name and label as the host sees them, in the session's encoding. How a name is treated depends
// on the encodings of file and session and on the names that the host allows; one table says which way it goes.
#pragma once

#include "driver_records.h"
#include "imglue_names.h"

#include <cstdint>

inline constexpr int64_t NAME_AREA_BYTES = VARIABLE_NAME_BYTES + 1;
inline constexpr int64_t LABEL_AREA_BYTES = 257;

// What is known of the session's encoding; each value is a bit.
enum session_encoding : uint8_t { SESSION_OTHER = 1, SESSION_UTF8 = 2, SESSION_TWO_BYTE = 4 };

// What the names of one import have in common.
struct import_names {
    IMGLUE *self;
    bool any_characters; // the host allows names of any characters
    session_encoding encoding;
    outnamestruct *used; // root of the tree of names
};

// setup_import_names: ask the host which names it allows and what the session's encoding is; sets server_is_wlatin1
// for a Latin 1 session.
void setup_import_names(IMGLUE *self, import_names *names);

// give_name: the variable's clean and unique name, and name_p and namelen of its nmptr.
//
// variable   its nmptr is set.
// ordinal    its number, from 1.
// name_area  NAME_AREA_BYTES, kept by the session; receives the name, terminated.
void give_name(import_names *names, const innamerecord *variable, int32_t ordinal, char *name_area);

// give_label: label_p and nlablen of the variable's nmptr; a variable without a label gets its name in the file.
//
// variable    its name has been given.
// label_area  LABEL_AREA_BYTES, kept by the session; null when there is no pipeline.
void give_label(IMGLUE *self, const innamerecord *variable, char *label_area);
