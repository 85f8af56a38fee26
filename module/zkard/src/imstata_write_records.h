// The observations of an exported Stata file: a buffer of whole records, and an encoder for each type of variable. It
// knows how values are stored and how the conversion layer hands them over; the layout of a record was decided with
// the descriptors.
//
// Numbers arrive as a mivex_num_struct, whose miss_char selects the missing value: 'A' to 'Z' become .a to .z,
// everything else the plain one. Dates and date-times arrive as minutes since 1899-12-31 00:00, times as minutes.
#pragma once

#include "output_records.h"

#include <cstdint>

// initoutbuffer: allocate the record buffer and give every variable its encoder. Called once, after outmakerecord.
//
// 0, ERROR_MEMORY, ERROR_BUFFER_SIZE; ERROR_NO_VARIABLES when a record has no bytes; ERROR_VARIABLE_TYPE for a variable
// with an unknown output type code.
int32_t initoutbuffer(outdbsrec *out);

// beginoutrec: start an observation. 0.
int32_t beginoutrec(outdbsrec *out);

// writeit: encode the next value of the observation. Called once for each variable, in outallhead order.
//
// value  characters: outnamelength of them; numbers: a mivex_num_struct.
void writeit(outdbsrec *out, outvarrec *variable, const void *value);

// endoutrec: complete the observation; a full buffer is written. 0 or ERROR_WRITE; the records in the buffer are then
// lost.
int32_t endoutrec(outdbsrec *out);

// The encoders. Each stores its value at `target` and adds its width to outcurrcol.
void writechar(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writedouble_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writedatelong_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writetime_numeric_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);
void writedatetime_missings(outdbsrec *out, outvarrec *variable, char *target, const void *value);

// A number as a 32-bit integer, its fraction dropped. One that 32 bits do not hold, and NaN, give the least of them,
// which stands for no value of a Stata long.
int32_t number_to_long(double number);
