// A file of each release with everything that the release can hold, for tests of whole conversions.
#pragma once

#include "stata_file_builder.h"

#include <vector>

namespace vor::test {

inline constexpr int binary_releases[] = {103, 104, 105, 108, 110, 111, 112, 113, 114, 115};
inline constexpr int tagged_releases[] = {117, 118, 119};
std::vector<int> all_releases();

bool is_tagged(int release);
bool has_extended_marks(int release);
bool has_date_formats(int release);

inline constexpr int special_rows = 5; // at the start: limits, missing values, blanks

// Every type, dates, a label table, an accent, missing values; `ordinary_rows` observations after the special ones.
StataFile whole_file(int release, ByteOrder order, int ordinary_rows);

// A date-time, a time and a strL variable for the files that have them.
void add_tagged_variables(StataFile &file);

} // namespace vor::test
