// Import: the input variables become the host's variable descriptions, and the host observation gets its layout.
//
// Values follow each other in the order of the variables: 8 bytes of a number; the text of a fixed-length character
// variable; for a varying-length one, from a multiple of 8 on, an 8-byte pointer to the text, a 4-byte length and the
// text area.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_read_header: have the driver read the header, then describe every variable to the host.
// The driver's code, or what mivex_variables_to_namestrs returns.
int32_t mivex_read_header(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);

// mivex_variables_to_namestrs: the chain of input variables becomes a list of NAMESTRs, and obslen is fixed.
//
// numvars, namelisthead  out: their number and the list (null without variables); the session owns the list.
// 0, ERROR_MEMORY, or ERROR_NO_TRANSCODING when a pipeline exists and the driver does not support encodings.
// Logs names that had to change. Gives every variable its nmptr and transcode_length, and labelled ones a user format.
int32_t mivex_variables_to_namestrs(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);
