// Delimited text as the source of a data set. What its columns hold is found by looking at every field once.
#include "tables/column_kind.h"
#include "tables/delimited_reader.h"
#include "text/number_text.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/rows.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fmt/format.h>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vor {
namespace {

// The values of one column seen so far.
class ColumnEvidence {
  public:
    // One field of the reader's current record.
    void add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name);

    // The variable that holds all values seen, and what its numbers show.
    Variable variable(const std::string &name) const;

    // A note about integers that a double does not hold exactly; empty when there were none.
    std::string note(const std::string &name) const;

  private:
    void add_value(const DelimitedReader &reader, std::string_view value);

    ColumnKind kind_ = ColumnKind::unknown;
    size_t longest_bytes_ = 0;
    int64_t inexact_ = 0;
    int64_t first_inexact_ = 0;
};

bool fits(ColumnKind kind, std::string_view value) {
    if (kind == ColumnKind::number)
        return is_number(value);
    const Temporal temporal = temporal_of(kind);
    return temporal == Temporal::none || parse_iso(temporal, value).has_value();
}

// Text as it may stand in a character column: ConversionError for bytes that are not UTF-8 and, unless nul_allowed, for
// a NUL byte. `field` counts from 0, `name` is the column's.
void check_text(const DelimitedReader &reader, std::string_view text, size_t field, const std::string &name,
                bool nul_allowed) {
    if (!reader.unusual_bytes())
        return;
    const char *fault = !services::is_utf8(text)                                    ? "bytes that are not UTF-8"
                        : !nul_allowed && text.find('\0') != std::string_view::npos ? "a NUL byte"
                                                                                    : nullptr;
    if (fault)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}{}: the text holds {}.", reader.place(field),
                                          name.empty() ? std::string() : fmt::format(" ({})", name), fault));
}

// The names in the current record, blanks around them left out. ConversionError for an empty or a repeated one.
std::vector<std::string> read_names(const DelimitedReader &reader) {
    std::vector<std::string> names;
    std::unordered_map<std::string_view, size_t> seen;
    for (const std::string_view field : reader.fields()) {
        const std::string_view name = trimmed(field);
        const size_t index = names.size();
        if (name.empty())
            throw ConversionError(Failure::conversion, reader.place(index) + ": the column has no name.");
        check_text(reader, name, index, {}, false);
        const auto [first, is_new] = seen.emplace(name, index);
        if (!is_new)
            throw ConversionError(Failure::conversion, fmt::format("{}: the name {} is also that of column {}.",
                                                                   reader.place(index), name, first->second + 1));
        names.emplace_back(name);
    }
    return names;
}

// ConversionError when the current record has another number of fields than there are names.
void check_width(const DelimitedReader &reader, size_t names) {
    if (reader.fields().size() != names)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: {} fields were found where {} were expected, one for each name.",
                                          reader.place(), reader.fields().size(), names));
}

void ColumnEvidence::add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name) {
    const std::string_view text = without_trailing_blanks(field);
    if (text.size() > longest_bytes_)
        longest_bytes_ = text.size();
    if (kind_ != ColumnKind::text) {
        const std::string_view value = trimmed(text);
        double missing = 0;
        if (value.size() <= missing_text_max_bytes && read_missing(value, missing))
            return;
        add_value(reader, value);
    }
    if (kind_ == ColumnKind::text)
        check_text(reader, text, index, name, false);
}

void ColumnEvidence::add_value(const DelimitedReader &reader, std::string_view value) {
    if (kind_ == ColumnKind::unknown)
        kind_ = is_number(value) ? ColumnKind::number : kind_of_text(value);
    else if (!fits(kind_, value))
        kind_ = ColumnKind::text;
    if (kind_ == ColumnKind::number && loses_digits(value) && inexact_++ == 0)
        first_inexact_ = reader.row();
}

Variable ColumnEvidence::variable(const std::string &name) const {
    Variable variable{name, {}, ValueKind::numeric, 8, format_of(kind_), {}};
    if (kind_ == ColumnKind::text) {
        variable.kind = ValueKind::character;
        variable.length = longest_bytes_ == 0 ? 1 : static_cast<int>(longest_bytes_);
    }
    return variable;
}

std::string ColumnEvidence::note(const std::string &name) const {
    if (kind_ != ColumnKind::number || inexact_ == 0)
        return {};
    return inexact_note(name, inexact_, first_inexact_);
}

// Reads all records that follow the names. Returns the variables with types, lengths and formats, and the number of
// observations.
DataSet find_types(DelimitedReader &reader, const std::vector<std::string> &names, const Notes &notes) {
    std::vector<ColumnEvidence> columns(names.size());
    DataSet found;
    found.observations = 0;
    while (reader.next()) {
        check_width(reader, names.size());
        const auto fields = reader.fields();
        for (size_t i = 0; i < fields.size(); ++i)
            columns[i].add(reader, fields[i], i, names[i]);
        ++found.observations;
    }
    for (size_t i = 0; i < names.size(); ++i) {
        found.variables.push_back(columns[i].variable(names[i]));
        const std::string note = columns[i].note(names[i]);
        if (!note.empty() && notes)
            notes(note);
    }
    return found;
}

// A schema may say any length. What no text of the file can reach is not worth a buffer.
constexpr uint64_t generous_length_bytes = 1 << 20;

struct Column {
    static constexpr size_t passed_over = std::numeric_limits<size_t>::max();
    size_t variable = passed_over;
    ValueKind kind = ValueKind::numeric;
    Temporal temporal = Temporal::none;
    size_t length_bytes = 0;
};

// The beginning of a text, for a sentence.
std::string excerpt(std::string_view text) {
    const std::string_view shown = services::whole_characters(text, 40);
    return std::string(shown) + (shown.size() < text.size() ? "..." : "");
}

class DelimitedSource : public RowSource {
  public:
    DelimitedSource(const std::string &path, char separator, const Schema *schema, const Notes &notes)
        : file_(path, {.expected = InputFile::Content::text, .repeatable = schema == nullptr}),
          reader_(file_, separator), given_(schema != nullptr) {
        file_.tell_remark(notes);
        read_header();
        if (schema)
            use_schema(*schema);
        else
            look_through(notes);
        if (path != "-")
            description_.name = std::filesystem::path(uncompressed_name(path)).stem().string();
    }

    const DataSet &description() const override { return description_; }
    bool next(RowWriter &row) override;

  private:
    void read_header();
    void look_through(const Notes &notes);
    void use_schema(const Schema &schema);
    void plan(const std::vector<size_t> &variable_of_column);
    void set_number(RowWriter &row, const Column &column, size_t field);
    void set_text(RowWriter &row, const Column &column, size_t field);
    [[noreturn]] void refuse(size_t field, const std::string &reason) const;

    InputFile file_;
    DelimitedReader reader_;
    bool given_; // the description comes from a schema
    std::vector<std::string> names_;
    std::vector<Column> columns_;
    DataSet description_;
    int64_t rows_ = 0;
};

// A file of nothing but empty lines is a data set without variables, as the sink writes it.
void DelimitedSource::read_header() {
    if (reader_.next())
        names_ = read_names(reader_);
    else if (reader_.empty_file())
        throw ConversionError(Failure::conversion,
                              file_.name() + " is empty; a first line with the names of the columns was expected.");
}

void DelimitedSource::look_through(const Notes &notes) {
    description_ = find_types(reader_, names_, notes);
    reader_.rewind();
    reader_.next();
    std::vector<size_t> variables(names_.size());
    for (size_t i = 0; i < variables.size(); ++i)
        variables[i] = i;
    plan(variables);
}

void DelimitedSource::use_schema(const Schema &schema) {
    description_ = schema.description;
    description_.observations = -1;
    const uint64_t longest = std::max(generous_length_bytes, file_.size());
    for (Variable &variable : description_.variables)
        variable.length = static_cast<int>(std::min<uint64_t>(static_cast<uint64_t>(variable.length), longest));
    const auto &variables = description_.variables;
    std::vector<size_t> variable_of_column;
    size_t next = 0;
    for (size_t i = 0; i < names_.size(); ++i) {
        if (next < variables.size() && names_[i] == variables[next].name) {
            variable_of_column.push_back(next++);
            continue;
        }
        const bool label = i > 0 && next > 0 && variable_of_column[i - 1] == next - 1 &&
                           !variables[next - 1].format.name.empty() &&
                           names_[i].starts_with(variables[next - 1].name + "_label");
        if (!label)
            throw ConversionError(
                Failure::conversion,
                fmt::format("{} does not fit the schema: column {} is called {}, the schema {}.", file_.name(), i + 1,
                            names_[i],
                            next < variables.size() ? "expects " + variables[next].name : "describes no more columns"));
        variable_of_column.push_back(Column::passed_over);
    }
    if (next != variables.size())
        throw ConversionError(Failure::conversion,
                              fmt::format("{} does not fit the schema: the schema describes {} variables, of which {} "
                                          "and those after it are not in the file.",
                                          file_.name(), variables.size(), variables[next].name));
    plan(variable_of_column);
}

void DelimitedSource::plan(const std::vector<size_t> &variable_of_column) {
    for (const size_t index : variable_of_column) {
        Column column;
        if (index != Column::passed_over) {
            const Variable &variable = description_.variables[index];
            const bool numeric = variable.kind == ValueKind::numeric;
            column = {index, variable.kind, numeric ? temporal_class(variable.format) : Temporal::none,
                      static_cast<size_t>(variable.length)};
        }
        columns_.push_back(column);
    }
}

bool DelimitedSource::next(RowWriter &row) {
    if (!reader_.next()) {
        if (!given_ && rows_ != description_.observations)
            throw ConversionError(Failure::conversion,
                                  fmt::format("{} changed while it was read: it had {} rows, now it has {}.",
                                              file_.name(), description_.observations, rows_));
        return false;
    }
    check_width(reader_, columns_.size());
    ++rows_;
    for (size_t field = 0; field < columns_.size(); ++field) {
        const Column &column = columns_[field];
        if (column.variable == Column::passed_over)
            continue;
        if (column.kind == ValueKind::numeric)
            set_number(row, column, field);
        else
            set_text(row, column, field);
    }
    return true;
}

void DelimitedSource::set_number(RowWriter &row, const Column &column, size_t field) {
    const std::string_view text = trimmed(reader_.fields()[field]);
    double value = 0;
    if (!read_number(text, value) && !read_missing(text, value)) {
        const auto moment = parse_iso(column.temporal, text);
        if (!moment) {
            refuse(field, fmt::format("\"{}\" is not a number{}.", excerpt(text),
                                      column.temporal == Temporal::none ? "" : ", date or time as it was expected"));
        }
        value = *moment;
    }
    row.set_number(column.variable, value);
}

void DelimitedSource::set_text(RowWriter &row, const Column &column, size_t field) {
    const std::string_view text = without_trailing_blanks(reader_.fields()[field]);
    check_text(reader_, text, field, names_[field], given_);
    if (text.size() > column.length_bytes)
        refuse(field,
               fmt::format("the text has {} bytes, {} were expected at most.", text.size(), column.length_bytes));
    row.set_text(column.variable, text);
}

void DelimitedSource::refuse(size_t field, const std::string &reason) const {
    throw ConversionError(Failure::conversion, fmt::format("{} ({}): {}{}", reader_.place(field), names_[field], reason,
                                                           given_ ? "" : " The file changed while it was read."));
}

} // namespace

std::unique_ptr<RowSource> delimited_source(const std::string &path, char separator, const Schema *schema,
                                            const Notes &notes) {
    return std::make_unique<DelimitedSource>(path, separator, schema, notes);
}

} // namespace vor
