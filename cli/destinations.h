// Where a data set goes to or comes from, as it is written on the command line.
#pragma once

#include <optional>
#include <string>

namespace vor::cli {

struct Destination {
    enum class Kind { delimited, library };
    Kind kind = Kind::delimited;
    std::string path;     // "-": standard input or output, delimited only
    char separator = ','; // delimited only
    std::string dataset;  // library only; empty: not named
};

// "-", "name.csv", "name.tsv.gz", "library.db", "library.sqlite:dataset"; letter case of the extension does not count.
// ConversionError (usage) for anything else, with the command that was meant: `other` is the other argument, which is
// the Stata file.
Destination parse_destination(const std::string &text, const std::string &other);
Destination parse_source(const std::string &text, const std::string &other);

// ConversionError (usage) for the name of a table or library where a Stata file should be read, unless there is a file
// of that name with .dta behind it.
void check_stata_name(const std::string &file);

// The same for a text that may also be the name of a Stata file: nothing unless it names a library. ConversionError
// (usage) for a library that is to be compressed.
std::optional<Destination> parse_library(const std::string &text);

// The destination's data set, by default the stem of `file`. ConversionError (usage) when that is a stream.
std::string dataset_name(const Destination &destination, const std::string &file);

// Whether an argument stands for that file: as a path, with .dta behind it, as a library with a data set, or behind
// LIBRARY=.
bool stands_for_file(const std::string &argument, const std::string &path);

} // namespace vor::cli
