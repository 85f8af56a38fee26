// Strings: fields in the host's style, a pointer and a length in bytes, padded with blanks; and terminated ones. The
// routines keep no state and allocate nothing; only wzbcup looks at the host, whose upper-case table it reads. No path
// of the module reaches wzstdel.
#pragma once

#include <cstdint>

// Bytes before the terminating zero; 0 for a null pointer. At most INT32_MAX.
int32_t wzstlen(const char *str);

// Length of the first len bytes without trailing blanks. A len of 0 or less comes back unchanged.
int32_t wzstrip(const char *str, int32_t len);

// Moves the non-blank span of the field to the start (type 'L' or 'l'), the end ('R', 'r') or the middle ('C', 'c';
// an odd blank goes to the right); any other type moves nothing. The vacated bytes become blanks.
// retlen, start   the span's length and its position after the move, counted from 0; both 0 for a blank field.
//                 Either may be null.
void wzstjls(char *string, int32_t length, int32_t type, int32_t *retlen, int32_t *start);

// Removes from the field every byte that is among the dlen bytes of del and closes the gaps; returns the new length.
// A negative slen or dlen stands for a terminated string. The result is terminated when slen was negative; otherwise
// the freed end of the field is filled with blanks.
int32_t wzstdel(char *str, int32_t slen, const char *del, int32_t dlen);

// Compares two fields as if the shorter one were padded with blanks; a null pointer is an empty field. 0 when they are
// equal, else the position p of the first difference, counted from 1: -p when s1 sorts lower (unsigned bytes), +p when
// it sorts higher.
int32_t wzstcom(const char *s1, int32_t l1, const char *s2, int32_t l2);

// The first byte of `search` that is one of the olen option bytes. `def` when there is none, when either pointer is
// null or when slen is less than 1.
unsigned char wzstopt(const char *search, int32_t slen, const char *options, int32_t olen, unsigned char def);

// Compares n bytes with case folded through the host's upper-case table. The difference of the folded bytes at the
// first place where they differ; 0 when there is none or n is not positive.
int32_t wzbcup(const char *string1, const char *string2, int32_t n);

// Moves the first min(flen, tlen) bytes of `from` and fills the rest of the tlen bytes of `to` with blanks. The areas
// may overlap. A negative length counts as 0.
void vzmp(const char *from, int32_t flen, char *to, int32_t tlen);

// Characters, and terminated strings in fields.

// True for blank, tab, line feed and carriage return.
inline bool is_white_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

inline bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// True for the letters of ASCII.
inline bool is_letter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The smaller of the two.
inline int32_t min(int32_t a, int32_t b) {
    return a < b ? a : b;
}

// Makes a blank-padded field of a terminated string, in place: everything from the first byte of value 26 or less
// (a terminator or a control byte) within the len bytes becomes blanks. Without such a byte nothing changes.
void blank(char *s, int32_t len);

// Cuts the field at its first blank, tab, line feed or carriage return within len bytes: a zero byte is written there
// and its index returned. Returns len, and writes nothing, when there is none.
int32_t zeroit(char *a, int32_t len);

// len less the white space at the end of the first len bytes; 0 when all of them are white space or len is not
// positive. A zero byte is no white space.
int32_t mivex_strnlen(const char *str, int32_t len);

// Copies the terminated string `from`, cut to len - 1 bytes, and a terminating zero byte, so that a slot of len bytes
// never overflows; returns `to`. The areas may overlap. A len of 0 or less writes nothing.
char *mivex_strncpy(char *to, const char *from, int32_t len);
