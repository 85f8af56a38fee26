// The collection of Stata files written by other programs, each with the JSON of what an independent reader found.
//
// The folder is named by the environment variable VORDTA_CORPUS; the project holds nothing of it.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

namespace vor::test {

// The Stata files of the folder, by name; none when VORDTA_CORPUS is not set or empty. Throws std::runtime_error when
// the folder has none: a collection that went unnoticed would make its test pass for nothing.
std::vector<std::filesystem::path> corpus_files();

// What the JSON beside a Stata file says of it:
//   release, order ("le" or "be"), rows (lists of values);
//   names, labels (the name where there is none), types (of a string its bytes), formats: one for each variable;
//   value_labels: [value, text] pairs by variable; values from 2147483621 on stand for "." and ".a" to ".z".
// Values are numbers (dates in days, date-times in seconds, both since 1960-01-01; times of day in seconds), the
// missing values "." and ".a" to ".z", or texts in UTF-8 without trailing blanks. Throws when there is no such JSON.
nlohmann::json corpus_description(const std::filesystem::path &path);

} // namespace vor::test
