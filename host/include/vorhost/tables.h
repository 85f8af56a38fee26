// Delimited text (CSV, TSV) and the JSON forms beside it.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/rows.h>
#include <vorhost/user_format.h>

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace vor {

enum class LabelForm { codes, text, both };

// Finds a user format by name; null when there is none.
using FormatLookup = std::function<const UserFormat *(const std::string &name)>;

struct DelimitedOptions {
    char separator = ',';
    bool raw = false; // numbers as they are, dates as days, date-times and times as seconds
    LabelForm labels = LabelForm::codes;
    FormatLookup formats; // needed for labels other than codes
};

// A sink that writes delimited text to `path` ("-": standard output). A file appears under its name only with finish.
std::unique_ptr<RowSink> delimited_sink(const std::string &path, const DelimitedOptions &options);

// Names, types, labels, formats and user formats beside a delimited file.
struct Schema {
    DataSet description;
    std::vector<UserFormat> formats;
};
std::string schema_json(const Schema &schema);
Schema parse_schema(const std::string &json, const std::string &file); // ConversionError names the file and the place
Schema read_schema(const std::string &file);
void write_schema(const std::string &file, const Schema &schema); // replaced whole

// A source over delimited text ("-": standard input, which is kept in a temporary file). Without a schema (null) the
// file is read twice: first for types and lengths, then for its rows; it is never held in memory.
std::unique_ptr<RowSource> delimited_source(const std::string &path, char separator, const Schema *schema);

// The shortest text that reads back to the same double; ".", ".a" to ".z", "._" for missing values.
std::string number_text(double value);

} // namespace vor
