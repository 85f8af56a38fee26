// Delimited text (CSV, TSV) and the JSON forms beside it.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/log.h>
#include <vorhost/user_format.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vor {

enum class LabelForm { codes, text, both };

// Finds a user format by name; null when there is none. What it finds lasts as long as what it was given to.
using FormatLookup = std::function<const UserFormat *(const std::string &name)>;

// Finds the value labels of a data set's variables: in its own label tables, else among the user formats.
class LabelLookup {
  public:
    // The tables must stay in their place. formats: may be empty.
    explicit LabelLookup(const std::vector<UserFormat> &tables, FormatLookup formats = {});

    const UserFormat *find(const Variable &variable) const; // null: the variable has no labels

    // The same, unless the labels are one of the tables.
    const UserFormat *find_format(const Variable &variable) const;

  private:
    std::unordered_map<std::string_view, const UserFormat *> tables_;
    FormatLookup formats_;
};

// Delimited text is UTF-8 after RFC 4180: one line with the names, then one for each observation, lines ending in a
// line feed. Written without quotes where it can; numbers as number_text, those that are stored as a float in the
// shortest form that gives the same float, but the standard missing value as an empty field; dates, periods, moments
// and times after ISO 8601 where iso_text gives them. The only field of a line is quoted when it is empty, because
// empty lines do not count. Bytes that are no text are "base64:" and their code, and a long text that begins with that
// word or with "text:" has "text:" before it; a note says so once for a variable.
struct DelimitedOptions {
    char separator = ',';
    bool raw = false; // numbers as they are, dates and periods as days, moments and times as seconds
    LabelForm labels = LabelForm::codes;
    FormatLookup formats = {}; // for labels that the description does not bring
    size_t threads = machine_threads();
    std::optional<int> compression_level = {}; // as check_compression_level has it
    OutputGroup *group = nullptr;              // the file appears with the others of its group; null: with finish
    Log *log = nullptr;                        // hears of values that raw numbers cannot say; may be null
};

// A sink that writes delimited text to `path` ("-": standard output, which gets its lines as they come), compressed
// when its name ends in .gz, .bz2, .xz, .zst or .zip. A file appears under its name only with finish. ConversionError
// (machine) with the system's words when it cannot be written.
std::unique_ptr<BatchSink> delimited_sink(const std::string &path, const DelimitedOptions &options);

// A sink that writes an array of objects, one for each observation: numbers, dates and times as ISO 8601, null for the
// standard missing value and ".a" for others. The file as that of delimited_sink.
std::unique_ptr<BatchSink> json_sink(const std::string &path);

// What delimited text has no place for: all of a description, the user formats that its own label tables do not hold,
// and how the numbers are meant.
struct Schema {
    DataSet description;
    std::vector<UserFormat> formats;
    bool raw = false; // as in DelimitedOptions
};
std::string schema_json(const Schema &schema);
Schema parse_schema(const std::string &json, const std::string &file); // ConversionError names the file and the place
Schema read_schema(const std::string &file, const Notes &notes = {}, Unpacking unpacking = Unpacking::bounded);

// The file is replaced whole, with the others of the group when there is one.
void write_schema(const std::string &file, const Schema &schema, OutputGroup *group = nullptr);

struct DelimitedInput {
    char separator = ',';
    const Schema *schema = nullptr;        // null: types are found in the values; may go after the call
    std::vector<std::string> missing = {}; // texts that stand for the standard missing value, or an empty text
    Log *log = nullptr;                    // may be null
    std::string encoding = {};             // empty: UTF-8
    Unpacking unpacking = Unpacking::bounded;
    size_t threads = machine_threads(); // that read its lines
};

// A source over delimited text ("-": standard input), which may be compressed whatever its name. Lines may end in a
// line feed, a carriage return or both; a byte order mark is passed over; empty lines do not count. A first column
// without a name is v1. ConversionErrors name row (1 is the first after the names), line and column: rows of another
// number of fields, stray quotes, bytes that are not in the encoding, names that are empty or repeated, values that do
// not fit.
//
// Without a schema the file is read twice, first for types and lengths, then for its rows, and never held in memory;
// standard input is kept in a temporary file for that. A column is a date, date-time (with a T or a blank) or time when
// every value is one in that form, numeric when every value is a number without a zero in front; missing values (an
// empty field, ".", ".a" to ".z", "._", those that the input names) and blanks around values do not change that, and a
// column of nothing else is numeric. Every other column is character, and a note says which value made one of them so
// that looked like something else. The smallest stored types that hold the values are recorded, unless only a long text
// does. Text with a NUL byte is refused. Integers that a double does not hold exactly are noted.
//
// With a schema the header must have its names in its order; columns NAME_label after a variable NAME with labels,
// which the sink writes, are passed over. A date inside a period, of which only the period is kept, is a warning. The
// observations are not known (-1).
std::unique_ptr<BatchSource> delimited_source(const std::string &path, const DelimitedInput &input);

// The shortest text that reads back to the same double ("0.1", "1e+300", "-0", "inf"), integers below 2^53 in plain
// digits; ".", ".a" to ".z", "._" for
// missing values.
std::string number_text(double value);

// The same of a value that is stored as a float: the shortest text that reads back to that float ("9.99").
std::string single_text(double value);

// The inverse, blanks around the text ignored, marks in either letter case; an empty text is the standard missing
// value. Nothing for any other text.
std::optional<double> parse_number_text(std::string_view text);

} // namespace vor
