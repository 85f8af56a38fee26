// Columns of a frame as a source of batches for an export.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/log.h>

#include <atomic>
#include <memory>
#include <pybind11/numpy.h>
#include <string>
#include <vector>

namespace vor::python {

namespace py = pybind11;

// How long the texts of an object array are in UTF-8, where None, nan and what pandas has for a missing text are empty.
// bytes: some are bytes and no text. other: the position of the first object that is neither, or half of a surrogate
// pair, -1 for none.
struct TextSizes {
    size_t longest_bytes = 0;
    bool bytes = false;
    py::ssize_t other = -1;
};
TextSizes text_sizes(const py::array &texts);

// columns: for each variable of the description (values, mask, marks); values are contiguous: numbers of any numpy
// type, datetime64[ns], timedelta64[ns], or objects whose text_sizes have no `other` and which nobody changes
// meanwhile. mask: uint8, 1 for missing, or None; nan and NaT are missing without one. marks: uint8, the letter of a
// missing value, or None. The arrays must outlive the source, which needs no GIL: only what makes and destroys it does.
// A stop that becomes true ends it with an exception.
std::unique_ptr<BatchSource> frame_source(DataSet description, const py::list &columns, size_t rows,
                                          const std::atomic<bool> &stop, Notes warn);

} // namespace vor::python
