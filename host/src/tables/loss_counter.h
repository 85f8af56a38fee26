// What happened to some values of a variable, told once.
#pragma once

#include <vorhost/log.h>

#include <cstdint>
#include <fmt/format.h>
#include <string>

namespace vor {

class LossCounter {
  public:
    void add(int64_t observation) {
        if (count_++ == 0)
            first_ = observation;
    }

    // A warning of what happened, with how often and where first, unless it did not. log: may be null.
    void warn(Log *log, const std::string &what) const {
        if (log && count_ != 0)
            log->line(Severity::warning, fmt::format("{}; {} value{}, the first in observation {}.", what, count_,
                                                     count_ == 1 ? "" : "s", first_));
    }

  private:
    int64_t count_ = 0;
    int64_t first_ = 0;
};

} // namespace vor
