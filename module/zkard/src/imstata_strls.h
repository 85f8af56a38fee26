// The long strings of a tagged file: a store of all texts, read once, and the decoder that delivers them. A record
// holds a reference: the numbers of the variable and the observation under which the text was stored.
#pragma once

#include "imstata_records.h"

#include <cstdint>

inline constexpr int32_t LONGEST_STRL = 32000; // bytes of a text that are kept

// load_stata_long_strings: read the whole section of long strings into the tree of indsn, and max_strls with the
// longest text of each variable. map_array, layout, byte_order, varcount and file_size must stand in indsn.
//
// 0                    also for an empty section; max_strls and cut_strls are then null
// ERROR_INPUT_INVALID  the section is not where the map says, or a text belongs to a variable that does not exist
// ERROR_READ           the file ends inside a record of the section, or could not be read
// ERROR_SEEK, ERROR_MEMORY
// The position in the file is unspecified afterwards.
status load_stata_long_strings(indbsrec *in, WX_FILE *file);

// find_shared_string: the node with the key of the dsnrecord in private_ptr, or null; the path is recorded.
avlstruct *find_shared_string(avlglobalstruct *g, avlstruct *root);

// add_shared_string: a new node with that key and a copy of the compare_len bytes of compare_string. Null when memory
// is exhausted.
avlstruct *add_shared_string(avlglobalstruct *g);

// shared_string_entry: store a text under (observation, variable); a key that is there keeps its first text. The stored
// node, or null when memory is exhausted.
shared_string_struct *shared_string_entry(indbsrec *in, shared_string_struct **root, const char *text, int32_t length,
                                          int64_t observation, uint32_t variable);

// readstrl: decoder; innamelength bytes, blank-padded. The first text of the file that is longer than its variable, and
// the first reference to a text that the file does not hold, which gives blanks, are noted in the log; texts_cut and
// texts_absent count them.
void readstrl(indbsrec *in, innamerecord *variable, const char *record, void *output, int64_t length);

// find_long_string: the text that a record refers to in the place of a variable, without a word when there is none.
//
// record  where it begins
vor_text_slot find_long_string(indbsrec *in, const innamerecord *variable, const char *record);

// long_string: the same; a reference to a text that the file does not hold is noted as that of the observation, from 0,
// and gives an empty one.
vor_text_slot long_string(indbsrec *in, const innamerecord *variable, const char *record, int64_t observation);

// readwholestrl: decoder; the text in its place in the store, into a vor_text_slot.
void readwholestrl(indbsrec *in, innamerecord *variable, const char *record, void *output, int64_t length);
