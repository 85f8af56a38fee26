// Error reporting: internal codes become log lines and host return codes.
//
// A log line that begins with "%1z" is an error, one that begins with "%3z" a note. In a text that mivex_sprintf
// expands before it is logged the prefix is written "%%1z" or "%%3z".
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// mivex_report_error: log the driver's pending message and the code's text, record the code, release the session.
//
// Returns the host return code. Runs mivex_clean_up: afterwards inptr and outptr are null and no file is open.
int32_t mivex_report_error(IMGLUE *self, int32_t error_code);

// write_message_to_logfile: log a terminated message that begins with its level prefix; null and empty ones are left
// out. Nothing behind the prefix is taken for a directive, so that text from a file may stand in it. Returns 0.
int32_t write_message_to_logfile(IMGLUE *self, const char *message_string);

// mivex_sprintf: format into `var` through the host's formatter, at most 32767 bytes and a terminating zero. The host's
// directives work beside the usual conversions ("%s", "%d", "%lld", "%.*s").
void mivex_sprintf(char *var, const char *string, ...);
