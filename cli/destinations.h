// Where a data set goes to or comes from, as it is written on the command line.
#pragma once

#include <optional>
#include <string>

namespace vor::cli {

struct Destination {
    enum class Kind { delimited, library, parquet };
    Kind kind = Kind::delimited;
    std::string path;     // "-": standard input or output, delimited only
    char separator = ','; // delimited only
    std::string dataset;  // library only; empty: not named
};

// The data set that a text names, if it does: "-", a table, or a library.
std::optional<Destination> parse_place(const std::string &text);

// "-", "name.csv", "name.tsv.gz", "name.parquet", "library.db", "library.sqlite:dataset"; letter case of the extension
// does not count. ConversionError (usage) for anything else, with the command that was meant: `other` is the other
// argument, which is the Stata file.
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

// A file that a run reads or writes, as an argument names it: a path, a library with a data set, or LIBRARY=PATH; empty
// for none.
struct NamedFile {
    NamedFile(std::string what_it_is, std::string text, bool is_stata = false)
        : what(std::move(what_it_is)), argument(std::move(text)), stata(is_stata) {}

    std::string what; // for sentences: the argument, or its option
    std::string argument;
    bool stata; // may be written without .dta
};

// ConversionError (usage) when an output stands for the same file as another one of the run, through links too.
void refuse_same_file(const NamedFile &output, const NamedFile &other);

} // namespace vor::cli
