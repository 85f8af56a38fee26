// How lines reach the log.
//
// A log line that begins with "%1z" is an error, with "%2z" a warning, with "%3z" a note. The routines here put the
// prefix before a text; nobody else writes it.
#pragma once

#include "service_entries.h"
#include "vor/imglue.h"

#include <cstdint>
#include <cstring>

// write_message_to_logfile: log a terminated message that begins with its level prefix; null and empty ones are left
// out. Nothing behind the prefix is taken for a directive, so that text from a file may stand in it. Returns 0.
int32_t write_message_to_logfile(IMGLUE *self, const char *message_string);

// mivex_sprintf: format into `var` through the host's formatter, at most 32767 bytes and a terminating zero. The host's
// directives work beside the usual conversions ("%s", "%d", "%lld", "%.*s").
void mivex_sprintf(char *var, const char *string, ...);

// What the host's formatter takes: "%s", "%d" and "%lld".
inline const char *message_value(const char *text) {
    return text;
}
inline int message_value(int32_t number) {
    return number;
}
inline long long message_value(int64_t number) {
    return number;
}

inline constexpr size_t LEVEL_BYTES = 3; // of the prefix

// write_error: an error for write_message_to_logfile, in the words of mivex_sprintf: terminated texts, int32_t for "%d"
// and int64_t for "%lld". message has room for it and the prefix.
template <class... arguments>
void write_error(char *message, const char *format, arguments... values) {
    memcpy(message, "%1z", LEVEL_BYTES);
    mivex_sprintf(message + LEVEL_BYTES, format, message_value(values)...);
}

// log_error, log_warning, log_note: one line of that level. The values are those of write_error.
template <size_t length, class... arguments>
void log_line(const char *level, const char (&format)[length], arguments... values) {
    char line[LEVEL_BYTES + length];
    memcpy(line, level, LEVEL_BYTES);
    memcpy(line + LEVEL_BYTES, format, length);
    xpslog(line, message_value(values)...);
}
template <size_t length, class... arguments>
void log_error(const char (&format)[length], arguments... values) {
    log_line("%1z", format, values...);
}
template <size_t length, class... arguments>
void log_warning(const char (&format)[length], arguments... values) {
    log_line("%2z", format, values...);
}
template <size_t length, class... arguments>
void log_note(const char (&format)[length], arguments... values) {
    log_line("%3z", format, values...);
}
