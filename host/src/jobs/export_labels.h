// What a Stata file cannot keep of a user format: told before the export begins.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/user_format.h>

#include <functional>
#include <string>

namespace vor {

// Looks at the user format of each variable and notes what the file will not hold: formats of character variables and
// of dates, intervals, several labels for a value, values that are not integers in range.
void note_lost_labels(const std::vector<Variable> &variables, FormatCatalogs &catalogs, const std::string &library,
                      const std::string &catalog, const std::function<void(const std::string &)> &note);

} // namespace vor
