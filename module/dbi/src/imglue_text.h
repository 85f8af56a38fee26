// Text comparison without regard to letter case, and the fixed field that the text readers read from. Only the ASCII
// letters fold; every other byte compares as an unsigned value.
#pragma once

#include <cstdint>

// Positions that comp2inull looks at; longer strings that agree so far count as equal.
inline constexpr int32_t COMPARED_POSITIONS = 32767;

// Compares two terminated strings without regard to letter case, to trailing white space, and to which white space
// stands where both have some. 0 when they are equal, 1 when the first sorts higher, -1 when it sorts lower.
int32_t comp2inull(const char *first, const char *second);

// Compares n bytes without regard to letter case, zero bytes and white space included; it reads no further than the
// first difference. 0 equal, 1 first higher, -1 first lower; 0 when n is not positive.
int32_t mivex_memicmp(const char *first, const char *second, int32_t n);

// A field of a text line, as the readers of numbers and dates scan it. Every byte they look at is consumed.
struct text_field {
    const char *text; // first byte of the field
    int32_t length;   // bytes that may be read
    int32_t consumed; // bytes read so far
    bool blank_ends;  // a blank after the value ends the scan; otherwise only blanks may follow it
};

// The field at `text`, which stands at position `column` (from 0) of a line of line_length bytes. field_length is the
// field's width; above 99 the width is in its hundreds, and a width of 20 written so sets blank_ends.
text_field open_text_field(const char *text, int16_t field_length, int16_t column, int16_t line_length);
