// What the numbers of a column have in common, and which stored types hold all of them.
#pragma once

#include <vorhost/dataset.h>

#include <limits>

namespace vor {

class NumberRange {
  public:
    // One more number in the unit in which it is stored. What is stored as a missing value does not count.
    void add(double value);

    // Those of another range, too.
    void add(const NumberRange &other);

    // Whether a type of numbers holds all of them exactly. One of integers holds no negative zero.
    bool fits(StoredType type) const;

    // The smallest type that does. That without numbers: the smallest of all.
    StoredType smallest_type() const;

  private:
    double smallest_ = std::numeric_limits<double>::infinity();
    double largest_ = -std::numeric_limits<double>::infinity();
    bool whole_ = true;       // every number is an integer
    bool exact_float_ = true; // every number is exactly a float
};

} // namespace vor
