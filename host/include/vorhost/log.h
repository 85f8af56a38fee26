// The log: one line at a time, with its severity.
#pragma once

#include <string_view>

namespace vor {

enum class Severity { note, error };

// Receives the log lines of a host, without prefix and line end.
class Log {
  public:
    virtual ~Log() = default;
    virtual void line(Severity severity, std::string_view text) = 0;
};

} // namespace vor
