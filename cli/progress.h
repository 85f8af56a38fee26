// One line on the terminal while a conversion runs: rows, rate and time left.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace vor::cli {

// Nothing is ever shown when standard error is no terminal.
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
    bool shown_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point next_;
};

// "1234567 of 4000000 rows, 250000 rows/s, 11 s left"; the last part only when of_rows is known.
std::string progress_text(int64_t rows, int64_t of_rows, double seconds);

} // namespace vor::cli
