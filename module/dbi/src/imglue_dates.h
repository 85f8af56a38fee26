// Calendar dates: day counts and the dates that text fields hold. Only fint, whole_floor and julian are on a path from
// a Stata file; the others are there for drivers of text files.
//
// A day count is the number of days since 1899-12-31, so that 1900-01-01 is day 1 and 1960-01-01 is day 21,915. Dates
// from 15 October 1582 are Gregorian, earlier ones Julian. A date and time is minutes on the same scale: day x 1440 +
// hour x 60 + minute.
#pragma once

#include <cstdint>

// The number without its fraction, towards zero; and the largest whole number not above it.
double fint(double number);
double whole_floor(double number);

// The day count of a date. month 1 to 12. Dates before 1583 and day counts of them do not invert each other
// everywhere: mmddyy switches calendars in October 1502.
int64_t julian(int16_t month, int16_t day, int16_t year);

// The date of a day count. A year beyond 16 bits keeps its low 16 bits.
void mmddyy(int64_t day_count, int16_t *month, int16_t *day, int16_t *year);

// 1 to 12 for the month whose first three letters the text begins with, in any letter case; 13 when there is none.
int32_t monthnum(const char *text);

// Reads a date such as 15JAN1998 or 15JAN1998:10.30 from the field at `text`, which stands at position `column` of a
// line of line_length bytes. A field_length above 99 has the width in its hundreds; a width of 20 ends the value at
// its first blank, otherwise only blanks may follow the value. Years below 100 are in the 1900s.
// > 0 or 0   bytes consumed; *value is the date in minutes, or the missing sentinel for an empty field or "."
// < 0        less the bytes consumed: not a date. *value is the missing sentinel when the text has not the form of a
//            date, and untouched when it has but names no day or time (31FEB1998, 25 hours)
int32_t atofdate(const char *text, double *value, int16_t field_length, int16_t column, int16_t line_length);

// Reads a numeric date such as 01/15/1998, 01151998 or 01/15/1998 10:30 the same way; '/', ':' and '.' separate its
// numbers. day_first 1: the day stands before the month. A field without a number other than zero in the date is
// missing and gives 1; a year of 0 beside other numbers is an error.
int32_t atomdy(const char *text, double *value, int16_t field_length, int16_t column, int16_t line_length,
               int16_t day_first);
