// Export: the host's variable list becomes the writer's variable descriptions.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// namestrs_to_mivex_variables: describe the first `numvars` variables of the list to the driver, have it write the
// beginning of the file and set up its record buffer. 0, ERROR_MEMORY, or the driver's code.
int32_t namestrs_to_mivex_variables(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead);
