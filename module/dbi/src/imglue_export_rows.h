// Export: observations, one at a time, from the host observation to the driver.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// setup_write_scratch: once the driver has laid the variables out, allocate what transcoding a value needs; nothing
// without a pipeline. 0 or ERROR_MEMORY.
int32_t setup_write_scratch(IMGLUE *self);

// mivex_write_record: convert one host observation (the variables' values one after the other, vorlen bytes each) and
// have the driver write it. Nothing is allocated. Text that cannot be transcoded, or does not fit, is written as far
// as it goes, and logged. 0 or the driver's code.
int32_t mivex_write_record(IMGLUE *self, const void *observation);
