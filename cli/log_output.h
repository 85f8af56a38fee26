// Notes and errors as lines on standard error and, when asked for, in a log file.
#pragma once

#include "progress.h"

#include <vorhost/log.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace vor::cli {

class LogOutput : public Log {
  public:
    // Writes "NOTE: text" or "ERROR: text"; control characters in the text are shown, not sent. A quiet log leaves
    // notes out on standard error.
    void line(Severity severity, std::string_view text) override;

    void set_quiet(bool quiet) { quiet_ = quiet; }

    // Erases a progress line before each line on standard error. The display must outlive the log's last line.
    void show_above(ProgressDisplay &progress) { progress_ = &progress; }

    // Writes all further lines to a file too, which is emptied first. ConversionError (machine) when the system
    // refuses.
    void open(const std::string &path);

    // Ends the log file. ConversionError (machine) when a line could not be written; nothing without a file.
    void close();

  private:
    struct CloseFile {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    bool quiet_ = false;
    ProgressDisplay *progress_ = nullptr;
    std::string path_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    int write_error_ = 0; // of the first line that was lost
};

} // namespace vor::cli
