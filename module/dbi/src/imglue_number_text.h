// Numbers as text in fixed-width fields, and back. A printed field is f characters, right-aligned, with a zero byte
// behind them: the target holds f + 1 bytes. Numbers that are not finite fit no field.
//
// All of them scale with multsqq: init_multsqq comes first, once a session.
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
