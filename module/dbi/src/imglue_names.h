// Names that the host accepts: cleaned into its alphabet, cut to its limits, and unique within a data set or among the
// formats of an import. Names are the same when comp2inull says so: letter case and trailing white space do not count.
//
// Names used so far stand in a tree that the caller owns through its root, null at first; the nodes are session
// allocations. When one cannot be allocated, the new name is written all the same, but a later name may repeat it.
#pragma once

#include "imglue_tree.h"

#include <cstdint>

// Longest variable name that the host takes; the area that receives one has a byte more.
inline constexpr int32_t VARIABLE_NAME_BYTES = 32;

// Writes VARn, terminated, the name of the variable with that ordinal number, from 1.
inline constexpr int32_t ORDINAL_NAME_BYTES = 13;
void write_ordinal_name(char *target, int32_t ordinal);

// Whether the host takes the name of `length` bytes under any of its options: letters, digits and underscores, no digit
// first, neither empty nor too long.
bool is_plain_name(const char *name, int32_t length);

// A used name; its text follows the node in the same allocation.
struct outnamestruct {
    avlstruct avlrec;
    char *outnamename;
    // Where the search for a free suffix of this name goes on, so that many equal names do not each begin at 1. Valid
    // for a stem and a limit of these many bytes.
    int32_t next_suffix;
    int32_t suffix_stem_bytes;
    int32_t suffix_limit_bytes;
};

// The routines of a name tree for find_add_avl: compare_string is the name. A node's name never changes.
avlstruct *find_outname(avlglobalstruct *g, avlstruct *root);
avlstruct *add_outname(avlglobalstruct *g);

// The same for nodes of so many bytes that begin with an outnamestruct; the rest is zero.
avlstruct *add_named_node(avlglobalstruct *g, int64_t node_bytes);

// Makes a name unique and enters it in the tree.
//
// oldstring  terminated. newstring  receives the new name, terminated; it has room for oldstring and for maxlen bytes,
// and must not be oldstring. maxlen  most bytes of a name with a suffix.
// 0   oldstring was free: newstring is a copy
// 1   newstring has a numeric suffix: NAME_1, NAME_2 and so on; where the underscore does not fit it is left out, and
//     where the number does not fit the name is cut
int32_t outnameunique(IMGLUE *self, outnamestruct **root, const char *oldstring, char *newstring, int32_t maxlen);

// The same for UTF-8, never splitting a character: oldstring is first cut, in place, at the last character that ends
// within maxlen - 2 bytes when it is taken and longer than that.
int32_t outnameunique_utf8(IMGLUE *self, outnamestruct **root, char *oldstring, char *newstring, int32_t maxlen);

// Whether the tree holds the name.
bool is_name_taken(outnamestruct *root, const char *name);

// VARn, unique: 1 when it has a suffix, else 0. target: VARIABLE_NAME_BYTES + 1 bytes.
int32_t give_ordinal_name(IMGLUE *self, outnamestruct **root, char *target, int32_t ordinal);

// As outnameunique, for encodings in which a suffix might split a character: a name that is taken gives way to VARn.
int32_t unique_or_ordinal_name(IMGLUE *self, outnamestruct **root, const char *name, char *newstring, int32_t ordinal);

// Cuts a terminated string to the characters that end within its first maxlen bytes; returns the new length.
int32_t trim_utf8(char *s, int32_t maxlen);

// Makes a name of the host's plain alphabet (letters, digits, underscore, no digit first) and makes it unique.
//
// oldstring     terminated, as it came from the file.
// store_string  receives the name, terminated: max_len + 1 bytes.
// varnum        the variable's index, from 0: a name with more than two bytes outside the alphabet (blanks not
//               counted), or with no byte at all, becomes VARn, n from 1.
// Logs every change, except of names that begin with a percent sign. Uses the session's to_vor_name_ buffers, in which
// oldstring may lie.
void to_vor_name(IMGLUE *self, outnamestruct **root, const unsigned char *oldstring, char *store_string, int32_t varnum,
                 int32_t max_len);

// Cuts a name of `len` bytes in an encoding of one- and two-byte characters to max_len bytes without splitting a
// character, and makes it unique; nothing else in it changes. A name that is taken becomes VARn (n = varnum + 1),
// itself unique, unless is_latin1, where it gets a suffix; both are logged. Returns the length of store_string.
int32_t to_vor_name_without_cleaning_2byte_encoding(IMGLUE *self, outnamestruct **root, const unsigned char *oldstring,
                                                    char *store_string, int32_t varnum, int32_t len, int32_t is_latin1,
                                                    int32_t max_len);
