// The format builder: one user format from value and label pairs, handed to the host's format writer.
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

inline constexpr int32_t ZFMT_REFUSED = static_cast<int32_t>(0x80000805); // a refused name or duplicate

// zfmtmakefmt_init: start a format; a name that begins with '$' makes a character format.
//
// handlep  out: the handle, valid until zfmtmakefmt_term; null when starting failed.
// fmtname  fmtname_l bytes, at most 32.
// 0, ZFMT_REFUSED (its text is given to the host), or HOST_NO_MEMORY.
int32_t zfmtmakefmt_init(void **handlep, const char *fmtname, int32_t fmtname_l, const ZFMTMAKEFMTOPTS *optstrp);

// zfmtmakefmt_addnum, zfmtmakefmt_addchar: add a pair. 0, ZFMT_REFUSED for a duplicate without multilabel, or
// HOST_NO_MEMORY; a refused pair changes nothing. A null handle gives ZFMT_REFUSED.
int32_t zfmtmakefmt_addnum(void *handle, double value, const char *label, int32_t labellen);
int32_t zfmtmakefmt_addchar(void *handle, const char *value, int32_t valuelen, const char *label, int32_t labellen);

// zfmtmakefmt_term: write the format and end the handle. The format writer's status.
int32_t zfmtmakefmt_term(void *handle);
