// A file of each release with everything that the release can hold, for tests of whole conversions.
#pragma once

#include "stata_file_builder.h"

#include <functional>
#include <vector>

namespace vor::test {

std::vector<int> all_releases();

inline bool is_tagged(int release) {
    return release >= 117;
}
inline bool has_extended_marks(int release) {
    return release >= 113;
}
inline bool has_date_formats(int release) {
    return release >= 105;
}

// Every type, dates, a label table, an accent, missing values; `ordinary_rows` observations after five special ones
// (limits, missing values, blanks).
StataFile whole_file(int release, ByteOrder order, int ordinary_rows);

// A date-time, a time and a strL variable for the files that have them.
void add_tagged_variables(StataFile &file);

// Calls `check` with that file of every release in either byte order, which a failure in it names.
void for_each_whole_file(int ordinary_rows, const std::function<void(const StataFile &)> &check);

} // namespace vor::test
