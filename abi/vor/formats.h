// User formats on their way into and out of a format catalog: the header, the ranges and the labels.
#pragma once

#include <cstdint>

// A counted name.
struct FORMAT_NAME32 {
    int16_t length;
    char text[32];
};

// Most user formats that one import makes; labelled variables after them have none.
inline constexpr int32_t MOST_USER_FORMATS = 4086;

inline constexpr int16_t FORMAT_NUMERIC = 1;
inline constexpr int16_t FORMAT_CHARACTER = 11;
inline constexpr uint8_t RANGE_MANY_LABELS = 0x10; // in a range's flags: u is a ULABHDTL

// Link part of a node of the range tree. In the ordered chain that ztrelst makes of a tree, rlink leads to the next
// node. Each node is followed directly by its range record.
struct TREE {
    TREE *llink;
    TREE *rlink;
    int16_t bal;
};

struct HEADSTR {
    int16_t rectype; // 1
    char fmtname[8]; // blank-padded
    double crdate;   // seconds since 1960-01-01
    int16_t type;    // FORMAT_NUMERIC or FORMAT_CHARACTER
    int16_t h_min;
    int16_t h_max;
    int16_t h_def;
    int16_t truelen;
    int64_t nranges;
    int64_t nlabels;
    double fuzz;
    int8_t low;
    int8_t high;
    uint8_t vernum; // 4, or 6 for a name longer than 8 bytes
    int8_t upcase;
    int8_t just;
    int64_t otherlab;
    int64_t totlabsize;  // bytes
    int64_t totrangsize; // bytes
    void *otherptr;
    int64_t nranges2;
    int16_t maxstartl;
    int16_t maxendl;
    int16_t maxlabl;
    int8_t rangsort;
    int8_t round;
    int8_t ni_special;
    int8_t range_group;
    int8_t usevarlen;
    int64_t v5nosupp;
    int16_t maxprefl;
    int8_t multilabel;
    void *poolptr;
    char fmtname_long[32]; // blank-padded; used when vernum is 6
};

// A label as the catalog keeps it; `length` bytes follow in label.
struct ILABELSTR_NCF {
    int8_t rectype; // LABEL_TEXT
    int16_t length;
    char label[4];
};

inline constexpr int8_t LABEL_TEXT = 6;

// One label of a format that is being written, in the order in which the pairs came.
struct LABELSTR_NCF {
    LABELSTR_NCF *next;
    ILABELSTR_NCF ncf;
};

// The label numbers of a value with several labels.
struct ULABLST {
    ULABLST *next;
    int64_t u;
};

struct ULABHDTL {
    ULABLST *head;
    ULABLST *tail;
    int64_t count;
};

// Which label belongs to a range. Handed to the format writer: the label's number, counted from 0, or with
// RANGE_MANY_LABELS the list of numbers. Handed out by the format reader: the label itself, null for none.
union LABEL_REFERENCE {
    int64_t number;
    ULABHDTL *list;
    const ILABELSTR_NCF *label;
};

// Range records. The first byte of each says which one it is.
inline constexpr int8_t RANGE_NUMERIC_INTERVAL = 1;
inline constexpr int8_t RANGE_NUMERIC_VALUE = 2;
inline constexpr int8_t RANGE_CHARACTER_VALUE = 3;
inline constexpr int8_t RANGE_CHARACTER_INTERVAL = 4;
inline constexpr int8_t RANGE_CHARACTER_VALUE_16 = 10;
inline constexpr int8_t RANGE_CHARACTER_INTERVAL_16 = 11;

// RANGE_NUMERIC_INTERVAL; start and end in collating form (wzcsdbl, wzrsdbl).
struct IRANGESTR_N {
    int8_t rectype;
    uint8_t flags;
    LABEL_REFERENCE u;
    uint8_t start[8];
    uint8_t end[8];
};

// RANGE_NUMERIC_VALUE.
struct IRANGESTR_N_S {
    int8_t rectype;
    uint8_t flags;
    LABEL_REFERENCE u;
    uint8_t start[8];
};

// RANGE_CHARACTER_VALUE; startlen bytes follow in startc.
struct IRANGESTR_C_S {
    int8_t rectype;
    int16_t startlen;
    LABEL_REFERENCE u;
    uint8_t flags;
    char startc[7];
};

// RANGE_CHARACTER_INTERVAL; start and end are owned by the pool of the read.
struct IRANGESTR_C {
    int8_t rectype;
    uint8_t flags;
    int16_t startlen;
    int16_t endlen;
    LABEL_REFERENCE u;
    const char *start;
    const char *end;
};

// RANGE_CHARACTER_VALUE_16 and, with end used, RANGE_CHARACTER_INTERVAL_16; white space at the end does not count.
struct IRANGESTR_C16 {
    int8_t rectype;
    uint8_t flags;
    LABEL_REFERENCE u;
    char start[16];
    char end[16];
};

// What travels between the format builder or reader and the catalog services.
struct XFRWSTR {
    FORMAT_NAME32 libname;  // the library
    FORMAT_NAME32 objlibnm; // the catalog
    HEADSTR *hp;
    TREE *rp;         // the ordered ranges
    LABELSTR_NCF *lp; // the labels, when the format is written
    void *xlo;
    void *poolptr; // the pool that a read allocates from
    void *rp2;
    int8_t noreplace;
    int8_t loadfmtaslbl;
    void *label_list;
    void *llp;
    int8_t to_unicode;
    int8_t zkpoolused;
};
