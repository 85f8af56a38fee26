#include "log_output.h"

#include "display.h"

#include <vorhost/error.h>
#include <vorhost/sentences.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vor::cli {

namespace {

constexpr auto patience = std::chrono::seconds(1);
constexpr auto interval = std::chrono::milliseconds(200);
constexpr const char *erase_line = "\r\x1b[K";

std::string duration_text(double seconds) {
    const auto whole = static_cast<int64_t>(std::min(seconds, 1e9));
    if (whole < 60)
        return fmt::format("{} s", whole);
    if (whole < 3600)
        return fmt::format("{} min {:02} s", whole / 60, whole % 60);
    return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
}

constexpr size_t longest_line = 4000; // bytes
constexpr size_t longest_word = 400;  // of a name without blanks, or a path

// A text with its middle left out where it is too long: the start and the end tell what it is.
std::string without_middle(std::string_view text, size_t longest) {
    if (text.size() <= longest)
        return std::string(text);
    size_t start = longest * 2 / 3;
    size_t end = text.size() - longest / 3;
    const auto inside_character = [text](size_t at) { return (text[at] & 0xC0) == 0x80; };
    while (start > 0 && inside_character(start))
        --start;
    while (end < text.size() && inside_character(end))
        ++end;
    return std::string(text.substr(0, start)).append("\u2026").append(text.substr(end));
}

// What the module says when a conversion is done.
bool is_result(std::string_view line) {
    return line.starts_with("The import data set has ") || line.starts_with("The export data set has ");
}

// The module's counts have one form for every number.
std::string in_number(std::string_view line) {
    std::string text(line);
    if (is_result(line))
        for (const std::string_view noun : {" 1 observations", " 1 variables"})
            if (const size_t at = text.find(noun); at != std::string::npos)
                text.erase(at + noun.size() - 1, 1);
    return text;
}

// Names and values of any length come from files; a line that repeats them stays one that people read.
std::string readable(std::string_view line) {
    std::string words;
    for (size_t start = 0; start < line.size();) {
        const size_t end = std::min(line.find(' ', start), line.size());
        words += without_middle(line.substr(start, end - start), longest_word);
        words += end < line.size() ? " " : "";
        start = end + 1;
    }
    return without_middle(words, longest_line);
}

} // namespace

std::string progress_text(int64_t rows, int64_t of_rows, double seconds) {
    const double rate = seconds > 0 ? static_cast<double>(rows) / seconds : 0;
    const std::string done = of_rows < 0 ? fmt::format("{} rows", rows) : fmt::format("{} of {} rows", rows, of_rows);
    std::string text = fmt::format("{}, {:.0f} rows/s", done, rate);
    if (of_rows >= rows && rate > 0)
        text += fmt::format(", {} left", duration_text(std::ceil(static_cast<double>(of_rows - rows) / rate)));
    return text;
}

ProgressDisplay::ProgressDisplay(std::string_view mode, bool quiet)
    : wanted_((mode == "on" || (mode == "auto" && !quiet)) && isatty(STDERR_FILENO) == 1),
      next_(mode == "on" ? start_ : start_ + patience) {}

ProgressDisplay::~ProgressDisplay() {
    erase();
}

void ProgressDisplay::update(int64_t rows, int64_t of_rows) {
    const std::lock_guard lock(mutex_);
    const Clock::time_point now = Clock::now();
    if (!wanted_ || now < next_)
        return;
    next_ = now + interval;
    const std::chrono::duration<double> elapsed = now - start_;
    // One column stays free: some terminals go to the next line when the last one is taken.
    const size_t columns = terminal_columns(STDERR_FILENO);
    const std::string text = progress_text(rows, of_rows, elapsed.count());
    std::fputs((erase_line + display_text(text, columns == 0 ? text.size() : columns - 1)).c_str(), stderr);
    shown_ = true;
}

void ProgressDisplay::erase() {
    const std::lock_guard lock(mutex_);
    if (shown_)
        std::fputs(erase_line, stderr);
    shown_ = false;
}

namespace {

[[noreturn]] void fail(const std::string &path, int error) {
    throw ConversionError(Failure::machine, fmt::format("The log file {} cannot be written: {}.", path,
                                                        std::system_category().message(error)));
}

} // namespace

void LogOutput::line(Severity severity, std::string_view text) {
    const std::lock_guard lock(mutex_);
    const std::string line = fmt::format("{}: {}\n", severity_word(severity), readable(display_text(in_number(text))));
    if (file_ && std::fputs(line.c_str(), file_.get()) == EOF && write_error_ == 0)
        write_error_ = errno;
    warnings_ += severity == Severity::warning ? 1 : 0;
    if (const std::string shown = shown_line(severity, line, is_result(text)); !shown.empty())
        show(shown);
}

void LogOutput::tell(std::string_view note) {
    const Notes before = std::exchange(notes_, notes_ == Notes::brief ? Notes::all : notes_);
    line(Severity::note, note);
    notes_ = before;
}

std::string LogOutput::shown_line(Severity severity, const std::string &line, bool is_result) {
    if (severity > Severity::note || notes_ == Notes::all)
        return line;
    if (notes_ == Notes::brief && !is_result && severity == Severity::note)
        ++unshown_;
    if (notes_ == Notes::none || !is_result || !results_)
        return {};
    const int64_t unshown = std::exchange(unshown_, 0);
    return unshown == 0
               ? line
               : fmt::format("{} ({}: --verbose)\n", line.substr(0, line.size() - 1), counted(unshown, "more note"));
}

void LogOutput::show(const std::string &line) const {
    if (progress_)
        progress_->erase();
    std::fputs(line.c_str(), stderr);
}

void LogOutput::before_output() {
    if (strict_ && warnings_ > 0)
        throw ConversionError(Failure::conversion,
                              fmt::format("Nothing is written, because there {} and the run is strict.",
                                          warnings_ == 1 ? "was a warning" : "were warnings"));
}

void LogOutput::open(const std::string &path) {
    file_.reset(std::fopen(path.c_str(), "we"));
    if (!file_)
        fail(path, errno);
    // A line at a time, so that the log of a killed run is there.
    std::setvbuf(file_.get(), nullptr, _IOLBF, BUFSIZ);
    path_ = path;
}

void LogOutput::close() {
    if (const int64_t unshown = std::exchange(unshown_, 0))
        show(fmt::format("NOTE: {} not shown: --verbose shows all.\n",
                         unshown == 1 ? "1 note is" : fmt::format("{} notes are", unshown)));
    if (!file_)
        return;
    if (std::fclose(file_.release()) != 0 && write_error_ == 0)
        write_error_ = errno;
    if (write_error_ != 0)
        fail(path_, write_error_);
}

} // namespace vor::cli
