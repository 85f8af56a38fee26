// The collection of Stata files written by other programs, each with the JSON of what an independent reader found.
//
// The folder is named by the environment variable VORDTA_CORPUS; the project holds nothing of it. This reads the
// descriptions into plain records for comparison and knows nothing of how they are imported.
#pragma once

#include "stata_file_builder.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vor::test {

// A host value: a number (dates in days, date-times in seconds, both since 1960-01-01; times of day in seconds), a
// missing value, or text in UTF-8 without trailing blanks.
using CorpusCell = std::variant<double, Missing, std::string>;

struct CorpusVariable {
    std::string name;
    std::string label;        // the name where the file has no label
    std::string type;         // byte, int, long, float, double, strL; empty for a string
    std::size_t string_bytes; // of a string, else 0
    std::string format;       // display format as stored
    // (value, text) by value; values from 2147483621 on stand for the missing values "." and ".a" to ".z".
    std::vector<std::pair<double, std::string>> value_labels;

    bool is_text() const { return type.empty() || type == "strL"; }
};

struct CorpusFile {
    std::filesystem::path path; // of the Stata file
    int release;
    ByteOrder order;
    std::vector<CorpusVariable> variables;
    std::vector<std::vector<CorpusCell>> rows;
};

// The folder of the collection; none when VORDTA_CORPUS is not set or empty.
std::optional<std::filesystem::path> corpus_folder();

// The Stata files of the folder, by name. Throws std::runtime_error when there is none, or when one of them has no
// JSON beside it: a collection that shrank unnoticed would make its test pass for nothing.
std::vector<std::filesystem::path> corpus_paths(const std::filesystem::path &folder);

// What the JSON beside a Stata file says of it. Throws std::runtime_error, naming the file, when the JSON cannot be
// read or contradicts itself (a row with too few values, a label of a variable that is not there).
CorpusFile read_corpus_file(const std::filesystem::path &path);

} // namespace vor::test
