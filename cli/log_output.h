// Standard error: notes and errors as lines, also in a log file when asked for, and one line that shows progress.
#pragma once

#include <vorhost/log.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace vor::cli {

// One line on the terminal while a conversion runs: rows, rate and time left. Nothing is ever shown when standard error
// is no terminal.
class ProgressDisplay {
  public:
    // mode: "auto" (after a second, not when quiet), "on" (at once), "off".
    ProgressDisplay(std::string_view mode, bool quiet);
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    // Shows where the work stands, a few times a second at most. of_rows: -1 when not known.
    void update(int64_t rows, int64_t of_rows);

    // Takes the line off the terminal; the next update may show it again.
    void erase();

  private:
    using Clock = std::chrono::steady_clock;

    bool wanted_;
    std::mutex mutex_; // lines come from several threads
    bool shown_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point next_;
};

// "1234567 of 4000000 rows, 250000 rows/s, 11 s left"; the last part only when of_rows is known.
std::string progress_text(int64_t rows, int64_t of_rows, double seconds);

// Notes and errors as lines on standard error and, when asked for, in a log file.
class LogOutput : public Log {
  public:
    // Which notes standard error shows; a log file has all of them.
    enum class Notes {
        none,
        brief, // what a conversion has made, in one line, and how many notes there were besides
        all,
    };

    // Writes "NOTE: text", "WARNING: text" or "ERROR: text"; control characters in the text are shown, not sent.
    void line(Severity severity, std::string_view text) override;

    // ConversionError (conversion) when the log is strict and there was a warning.
    void before_output() override;

    // A note about what was asked for, which is shown unless none is.
    void tell(std::string_view note);

    // What was read is shown itself: that it has been read is no news.
    void hide_results() { results_ = false; }

    void set_notes(Notes notes) { notes_ = notes; }
    void set_strict(bool strict) { strict_ = strict; }

    // Erases a progress line before each line on standard error. The display must outlive the log's last line.
    void show_above(ProgressDisplay &progress) { progress_ = &progress; }

    // Writes all further lines to a file too, which is emptied first. ConversionError (machine) when the system
    // refuses.
    void open(const std::string &path);

    // Says how many notes were not shown, and ends the log file: ConversionError (machine) when a line could not be
    // written.
    void close();

  private:
    struct CloseFile {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    std::mutex mutex_;                                                                  // of lines
    std::string shown_line(Severity severity, const std::string &line, bool is_result); // empty: nothing is shown
    void show(const std::string &line) const;

    Notes notes_ = Notes::brief;
    bool results_ = true;
    int64_t unshown_ = 0; // notes, but for details, since the last result
    bool strict_ = false;
    int64_t warnings_ = 0;
    ProgressDisplay *progress_ = nullptr;
    std::string path_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    int write_error_ = 0; // of the first line that was lost
};

} // namespace vor::cli
