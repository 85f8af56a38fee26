// Import: observations, one at a time, into the host observation.
//
// The variables' places in the observation are those that imglue_import_variables gave them.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_setup_read_buffer: allocate the host observation and everything that moving values needs, and have the driver
// read the first record; on a second call start again from the first record.
//
// 0, ERROR_MEMORY, or the driver's code.
int32_t mivex_setup_read_buffer(IMGLUE *self);

// mivex_get_one_record: fill the host observation from the current record and move to the next one. Nothing is
// allocated. Text that cannot be transcoded, or does not fit, is delivered as far as it goes, and logged.
//
// 0, ERROR_END_OF_FILE after the last observation (with a note of the counts in the log; the observation is then that
// of the call before), or the driver's code.
int32_t mivex_get_one_record(IMGLUE *self);
