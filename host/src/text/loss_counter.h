// What happened to some values of a variable, told once.
#pragma once

#include <vorhost/sentences.h>

#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace vor {

class LossCounter {
  public:
    // observation: from 1.
    void add(int64_t observation) {
        if (count_++ == 0)
            first_ = observation;
    }

    // What was counted in observations after those counted so far; before: to be added to their numbers.
    void add(const LossCounter &later, int64_t before = 0) {
        if (count_ == 0)
            first_ = later.first_ + before;
        count_ += later.count_;
    }

    explicit operator bool() const { return count_ != 0; }

    // "3 values WHAT, first in observation 7".
    std::string sentence(std::string_view what) const {
        return fmt::format("{} {}, first in observation {}", counted(count_, "value"), what, first_);
    }

  private:
    int64_t count_ = 0;
    int64_t first_ = 0;
};

} // namespace vor
