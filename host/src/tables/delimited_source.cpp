// Delimited text as the source of a data set.
#include "tables/delimited_reader.h"
#include "tables/delimited_types.h"
#include "text/number_text.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/files.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <limits>

namespace vor {

namespace {

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
        : file_(path, schema == nullptr), reader_(file_, separator), given_(schema != nullptr) {
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
