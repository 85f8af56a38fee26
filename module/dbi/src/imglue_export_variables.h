// Export: the host's variable list becomes the writer's variable descriptions.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// namestrs_to_mivex_variables: describe the first `numvars` variables of the list to the driver, have it write the
// beginning of the file and set up its record buffer.
//
// namelisthead  may be null without variables; nothing of it is kept.
// 0, ERROR_MEMORY, or the driver's code. Names and labels that cannot be transcoded are logged and kept as far as they
// go; user formats that cannot be used cost their variables the value labels.
int32_t namestrs_to_mivex_variables(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead);
