// Error reporting: internal codes become log lines and host return codes.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_report_error: log the driver's pending message and the code's text, record the code, release the session.
//
// Returns the host return code. Runs mivex_clean_up: afterwards inptr and outptr are null and no file is open.
int32_t mivex_report_error(IMGLUE *self, int32_t error_code);
