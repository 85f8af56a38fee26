// What the columns of delimited text hold, found by looking at every field once.
#pragma once

#include "tables/delimited_fields.h"
#include "tables/record_pieces.h"

#include <vorhost/dataset.h>
#include <vorhost/log.h>

#include <string>
#include <vector>

namespace vor {

// Reads all records of a text that stands behind its names: the variables with the smallest stored types that hold
// their values (unknown for texts that only a long one holds), lengths and formats, and the number of observations.
// What makes a text of a column that looks like something else is noted, and integers that a double does not hold. The
// result is the same on any number of threads.
DataSet find_types(DelimitedText &text, const std::vector<std::string> &names, const MissingTexts &missing,
                   size_t threads, const Notes &note);

} // namespace vor
