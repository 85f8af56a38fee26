#include "log_output.h"

#include "display_text.h"

#include <vorhost/error.h>

#include <cerrno>
#include <fmt/format.h>
#include <system_error>

namespace vor::cli {
namespace {

[[noreturn]] void fail(const std::string &path, int error) {
    throw ConversionError(Failure::machine, fmt::format("The log file {} cannot be written: {}.", path,
                                                        std::system_category().message(error)));
}

} // namespace

void LogOutput::line(Severity severity, std::string_view text) {
    const std::string line =
        fmt::format("{}: {}\n", severity == Severity::error ? "ERROR" : "NOTE", display_text(text));
    if (file_ && std::fputs(line.c_str(), file_.get()) == EOF && write_error_ == 0)
        write_error_ = errno;
    if (quiet_ && severity == Severity::note)
        return;
    if (progress_)
        progress_->erase();
    std::fputs(line.c_str(), stderr);
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
    if (!file_)
        return;
    if (std::fclose(file_.release()) != 0 && write_error_ == 0)
        write_error_ = errno;
    if (write_error_ != 0)
        fail(path_, write_error_);
}

} // namespace vor::cli
