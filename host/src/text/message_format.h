// The formatter behind log lines and messages: the usual conversions, and two of the host's own.
//
// %d %i %u %x %X %o with h, hh, l, ll, z; %f %e %g; %c; %s with flags, width and precision, also as '*'; %%.
// "%*s" takes a length and a text that need not be terminated. "%1z" to "%3z", the levels of a log line, stay as they
// are. What is none of these stays as it stands.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace vor {

// Formats at most `limit` bytes; what is longer is cut.
std::string format_message(std::string_view format, va_list arguments, size_t limit);

} // namespace vor
