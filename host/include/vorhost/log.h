// The log: one line at a time, with its severity.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vor {

enum class Severity {
    detail,  // as one would expect
    note,    // worth knowing
    warning, // a value or a property of the data is changed or lost
    error,
};

// What a line begins with: "NOTE" (details, too), "WARNING" or "ERROR".
constexpr std::string_view severity_word(Severity severity) {
    constexpr std::string_view words[] = {"NOTE", "NOTE", "WARNING", "ERROR"};
    return words[static_cast<int>(severity)];
}

// Receives what a reader noticed and the user should know, one sentence at a time. May be empty.
using Notes = std::function<void(const std::string &sentence)>;

// Receives the log lines of a host, without prefix and line end. export_source logs from two threads when it may.
class Log {
  public:
    virtual ~Log() = default;
    virtual void line(Severity severity, std::string_view text) = 0;

    // Asked when an output is complete, before it appears under its name. A log that has heard what must not be throws
    // a ConversionError, and the output does not appear.
    virtual void before_output() {}
};

} // namespace vor
