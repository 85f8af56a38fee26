// The format builder: one user format from value and label pairs, handed to the host's format writer.
//
// A format is started, given its pairs in any order, and finished. Everything of it lives in a pool of its own, which
// goes with the handle.
#pragma once

#include "vor/formats.h"

#include <cstdint>

struct ZFMTMAKEFMTOPTS {
    char libname[8]; // blank-padded
    FORMAT_NAME32 memname;
    int32_t multilabel;  // a value may have several labels
    int32_t noreplace;   // an existing format is kept
    int32_t maxfmtname8; // names longer than 8 bytes are refused
};

inline constexpr int32_t ZFMT_REFUSED = static_cast<int32_t>(0x80000805); // a refused name or pair

// Longest label and longest character value that a format holds.
inline constexpr int32_t ZFMT_TEXT_BYTES = INT16_MAX;

// zfmtmakefmt_init: start a format; a name that begins with '$' makes a character format.
//
// handlep  out: the handle, valid until zfmtmakefmt_term; null when starting failed.
// fmtname  fmtname_l bytes, at most 32, not terminated.
// optstrp  copied.
// 0, ZFMT_REFUSED for a name that is too long (its text is given to the host), or HOST_NO_MEMORY.
int32_t zfmtmakefmt_init(void **handlep, const char *fmtname, int32_t fmtname_l, const ZFMTMAKEFMTOPTS *optstrp);

// zfmtmakefmt_addnum, zfmtmakefmt_addchar: add a pair of the format's kind. Value and label are copied; texts have at
// most ZFMT_TEXT_BYTES bytes, and trailing blanks of a character value do not count.
//
// 0
// ZFMT_REFUSED    a duplicate value without multilabel (its text is given to the host), a text too long, a pair of
//                 the other kind, or a null handle.
// HOST_NO_MEMORY
// A pair that is not taken changes nothing.
int32_t zfmtmakefmt_addnum(void *handle, double value, const char *label, int32_t labellen);
int32_t zfmtmakefmt_addchar(void *handle, const char *value, int32_t valuelen, const char *label, int32_t labellen);

// zfmtmakefmt_term: hand the format to the host's writer and end the handle. The writer's status; 0, and nothing
// written, for a null handle.
int32_t zfmtmakefmt_term(void *handle);
