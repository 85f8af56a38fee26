// Small routines on terminated strings and blank-padded fields that every other part of the module uses. Lengths are
// bytes. None of them allocates, keeps state or looks at the session.
#pragma once

#include <cstdint>

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
