// What an import delivers as numpy arrays: an array of the full length for each variable, filled batch by batch.
#pragma once

#include <vorhost/batch.h>

#include <cstddef>
#include <memory>
#include <pybind11/numpy.h>

namespace vor::python {

namespace py = pybind11;

struct FrameOptions {
    bool dates = true;     // moments as datetime64[ns], times of day as timedelta64[ns]; else as their numbers
    bool nullable = false; // missing integers beside a mask; else they make float64 of their array
    bool marks = false;    // which missing value it is
};

// The values of one variable. Made, taken and destroyed with the GIL.
class FrameColumn {
  public:
    virtual ~FrameColumn() = default;

    // Takes what a batch has, for the rows from `row` on. Called with the GIL when needs_gil says so, else without.
    virtual void put(const Column &values, size_t row) = 0;
    virtual bool needs_gil() const { return false; }

    // (kind, values, mask, marks) of the first `rows` rows. kind: "number", "moment", "text", or "objects" for moments
    // that do not all fit datetime64[ns]: Python's dates, and numbers for what is no date of theirs either. mask:
    // uint8, 1 for missing, or None. marks: uint8, the letter of a missing value or 0, or None when "." is the only
    // one.
    virtual py::tuple take(size_t rows) = 0;
};

std::unique_ptr<FrameColumn> frame_column(const Variable &variable, size_t rows, const FrameOptions &options);

} // namespace vor::python
