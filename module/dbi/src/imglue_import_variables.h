// Import: the input variables become the host's variable descriptions.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_read_header: have the driver read the header, then describe every variable to the host.
// The driver's code, or what mivex_variables_to_namestrs returns.
int32_t mivex_read_header(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);

// mivex_variables_to_namestrs: the chain of input variables becomes a list of NAMESTRs, and obslen is fixed.
//
// numvars, namelisthead  out: their number and the list; the session owns the list.
// 0, ERROR_MEMORY, or ERROR_NO_TRANSCODING when a pipeline exists and the driver does not support encodings.
int32_t mivex_variables_to_namestrs(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);
