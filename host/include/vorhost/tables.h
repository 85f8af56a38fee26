// Delimited text (CSV, TSV) and the JSON forms beside it.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/rows.h>
#include <vorhost/user_format.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

enum class LabelForm { codes, text, both };

// Finds a user format by name; null when there is none.
using FormatLookup = std::function<const UserFormat *(const std::string &name)>;

// Delimited text is UTF-8 after RFC 4180: one line with the names, then one for each observation, lines ending in a
// line feed. Written without quotes where it can; numbers as number_text, but the standard missing value as an empty
// field; dates, date-times and times after ISO 8601 where iso_text gives them. The only field of a line is quoted when
// it is empty, because empty lines do not count.
struct DelimitedOptions {
    char separator = ',';
    bool raw = false; // numbers as they are, dates as days, date-times and times as seconds
    LabelForm labels = LabelForm::codes;
    FormatLookup formats;         // needed for labels other than codes; what it finds must last as long as the sink
    OutputGroup *group = nullptr; // the file appears with the others of its group; null: with finish
};

// A sink that writes delimited text to `path` ("-": standard output, which gets its lines as they come), compressed
// when its name ends in .gz, .bz2, .xz, .zst or .zip. A file appears under its name only with finish. ConversionError
// (machine) with the system's words when it cannot be written.
std::unique_ptr<RowSink> delimited_sink(const std::string &path, const DelimitedOptions &options);

// Names, types, labels, formats and user formats beside a delimited file.
struct Schema {
    DataSet description;
    std::vector<UserFormat> formats;
};
std::string schema_json(const Schema &schema);
Schema parse_schema(const std::string &json, const std::string &file); // ConversionError names the file and the place
Schema read_schema(const std::string &file, const Notes &notes = {});

// The file is replaced whole, with the others of the group when there is one.
void write_schema(const std::string &file, const Schema &schema, OutputGroup *group = nullptr);

// A source over delimited text ("-": standard input), which may be compressed whatever its name. Lines may end in a
// line feed, a carriage return or both; a byte order mark is passed over; empty lines do not count. ConversionErrors
// name row (1 is the first after the names), line and column: rows of another number of fields, stray quotes, bytes
// that are not UTF-8, names that are empty or repeated, values that do not fit.
//
// Without a schema (null) the file is read twice, first for types and lengths, then for its rows, and never held in
// memory; standard input is kept in a temporary file for that. A column is a date, date-time or time when every value
// is one in that form, numeric when every value is a number; missing values (an empty field, ".", ".a" to ".z", "._")
// and blanks around values do not change that, and a column of nothing else is numeric. Every other column is
// character. Text with a NUL byte is refused. Integers that a double does not hold exactly are noted.
//
// With a schema the header must have its names in its order; columns NAME_label after a variable NAME with a user
// format, which the sink writes, are passed over. The schema may go after the call. The observations are not known
// (-1).
std::unique_ptr<RowSource> delimited_source(const std::string &path, char separator, const Schema *schema,
                                            const Notes &notes = {});

// The shortest text that reads back to the same double ("0.1", "1e+05", "-0", "inf"); ".", ".a" to ".z", "._" for
// missing values.
std::string number_text(double value);

// The inverse, blanks around the text ignored, marks in either letter case; an empty text is the standard missing
// value. Nothing for any other text.
std::optional<double> parse_number_text(std::string_view text);

} // namespace vor
