// Export: observations, one at a time, from the host observation to the driver.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_write_record: convert one host observation (the variables' values one after the other, vorlen bytes each) and
// have the driver write it. 0 or the driver's code.
int32_t mivex_write_record(IMGLUE *self, const void *observation);
