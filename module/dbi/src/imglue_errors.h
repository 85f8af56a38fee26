// Error reporting: internal codes become log lines and host return codes.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_report_error: log the driver's pending message and the code's text, record the code, release the session.
//
// Returns the host return code. Runs mivex_clean_up: afterwards inptr and outptr are null and no file is open.
int32_t mivex_report_error(IMGLUE *self, int32_t error_code);

// write_message_to_logfile: log a terminated message that begins with its level prefix; null and empty ones are left
// out. Returns 0.
int32_t write_message_to_logfile(IMGLUE *self, const char *message_string);

// mivex_sprintf: format into `var` through the host's formatter, at most 32767 bytes and a terminating zero.
void mivex_sprintf(char *var, const char *string, ...);
