// Numbers as text in fixed-width fields, and back; text comparison without regard to letter case. A printed field is f
// characters, right-aligned, with a zero byte behind them: the target holds f + 1 bytes. Numbers that are not finite
// fit no field.
//
// What prints and reads numbers scales with multsqq: init_multsqq comes first, once a session.
//
// No path from a Stata file reaches atodf1, printc and open_text_field: they are there for drivers of text files.
#pragma once

#include <cstdint>

// 10 to the power 0 to 308 in entries 0 to 308; the rest is not used.
extern double multsqq[400];
inline constexpr int32_t LARGEST_POWER = 308;

void init_multsqq();

// Reads a decimal number from the field at `text`, which stands at position `column` of a line of line_length bytes: a
// sign and a '$' in either order, digits with commas among the whole ones, '.', an exponent after 'E' or 'e'; blanks
// before and after. A field_length above 99 has the width in its hundreds; a width of 20 written so ends the value at
// its first blank. The first 19 significant digits count.
// > 0 or 0   bytes consumed; *value is the number, or the missing sentinel for a field without digits
// < 0        less the bytes consumed: not a number, or one beyond a double; *value is the missing sentinel
int32_t atodf1(const char *text, double *value, int16_t field_length, int16_t column, int16_t line_length);

// Fixed form with d decimals (9 at most). comma: groups of three whole digits. dollar: a '$' before the number, after
// its minus sign. best: no trailing zeros among the decimals. Rounds half away from zero.
// 0    it fits
// -1   it does not, or it is 10 to the power 18 or more; the field is unspecified, nothing outside it is written
int32_t print1f(int32_t f, int32_t d, double value, char *text, int32_t comma, int32_t dollar, int32_t best);

// Exponential form in f characters (25 at most): a sign or a blank, one digit, '.', f - 8 digits, 'e', the exponent's
// sign and three digits. best: no trailing zeros among the digits behind the point and no blank for the sign, blanks
// to the left instead.
// 0    it fits
// -1   it does not: f is below 8 (7 for zero with best); the field is blanks
int32_t printe(double value, int32_t f, char *text, int32_t best);

// The form that shows most in f characters. The missing sentinel prints as ".", a range's ends as "low" and "high".
// 0 it fits; 1 it does not: blanks and an asterisk.
int32_t printb(int32_t f, double value, char *text);

// print1f without comma, dollar and best; where that does not fit, printb.
void printc(int32_t f, int32_t d, double value, char *text);

// Only the ASCII letters fold; every other byte compares as an unsigned value.

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
