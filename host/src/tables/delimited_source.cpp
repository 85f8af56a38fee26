// Delimited text as the source of a data set. What its columns hold is found by looking at every field once.
#include "tables/column_kind.h"
#include "tables/delimited_reader.h"
#include "tables/long_text.h"
#include "text/loss_counter.h"
#include "text/number_text.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/missing.h>
#include <vorhost/sentences.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
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

// Texts that stand for missing values besides those that the host knows.
class MissingTexts {
  public:
    explicit MissingTexts(const std::vector<std::string> &texts) : texts_(texts) {}

    bool holds(std::string_view text) const {
        return !texts_.empty() && std::find(texts_.begin(), texts_.end(), text) != texts_.end();
    }
    bool read(std::string_view text, double &value) const {
        if (text.size() <= missing_text_max_bytes && read_missing(text, value))
            return true;
        value = missing_value('.');
        return holds(text);
    }

  private:
    const std::vector<std::string> &texts_;
};

// What other programs write for a missing value or for one that is no number.
constexpr std::string_view foreign_words[] = {"NA", "N/A", "#N/A", "NaN", "NAN", "NULL", "null", "None", "Inf", "-Inf"};

// A date-time may have a blank where its T belongs: the text with a T, in `buffer` where it has to be changed.
using MomentBuffer = std::array<char, iso_text_max_bytes>;
std::string_view with_t(std::string_view text, MomentBuffer &buffer) {
    constexpr size_t date_length = 10;
    if (text.size() <= date_length || text[date_length] != ' ' || text.size() > buffer.size())
        return text;
    text.copy(buffer.data(), text.size());
    buffer[date_length] = 'T';
    return {buffer.data(), text.size()};
}

// Whether a number has a zero in front, as postal codes and other marks have that are no quantities.
bool has_leading_zero(std::string_view text) {
    const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
    return digits.size() > 1 && digits[0] == '0' && is_digit(digits[1]);
}

ColumnKind kind_of_value(std::string_view value) {
    if (is_number(value))
        return has_leading_zero(value) ? ColumnKind::text : ColumnKind::number;
    MomentBuffer buffer;
    return kind_of_text(with_t(value, buffer));
}

bool fits(ColumnKind kind, std::string_view value) {
    if (kind == ColumnKind::number)
        return is_number(value) && !has_leading_zero(value);
    MomentBuffer buffer;
    return parse_iso(temporal_of(kind), with_t(value, buffer)).has_value();
}

// The beginning of a text, for a sentence.
std::string excerpt(std::string_view text) {
    const std::string_view shown = whole_characters(text, 40);
    return std::string(shown) + (shown.size() < text.size() ? "..." : "");
}

// The values of one column seen so far.
class ColumnEvidence {
  public:
    // One field of the reader's current record.
    void add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name,
             const MissingTexts &missing);

    // The variable that holds all values seen, and what its numbers show.
    Variable variable(const std::string &name) const;

    // A note about integers that a double does not hold exactly, or about the value that made a text of what looked
    // like something else; empty when there is nothing to say.
    std::string note(const std::string &name) const;

  private:
    void add_value(const DelimitedReader &reader, std::string_view value);
    void decide(const DelimitedReader &reader, std::string_view value);
    ColumnKind kind() const { return decider_.empty() ? kind_ : ColumnKind::text; }

    ColumnKind kind_ = ColumnKind::unknown; // of the values but foreign words
    size_t longest_bytes_ = 0;
    int64_t inexact_ = 0;
    int64_t first_inexact_ = 0;
    std::string decider_; // the value that made a text of it
    std::string place_;   // and where it stands
};

// Text as it may stand in a character column: ConversionError for bytes that are not UTF-8 and, unless nul_allowed, for
// a NUL byte. `field` counts from 0, `name` is the column's.
void check_text(const DelimitedReader &reader, std::string_view text, size_t field, const std::string &name,
                bool nul_allowed) {
    if (!reader.unusual_bytes())
        return;
    const char *fault = !is_utf8(text)                                              ? "bytes that are not UTF-8"
                        : !nul_allowed && text.find('\0') != std::string_view::npos ? "a NUL byte"
                                                                                    : nullptr;
    if (fault)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}{}: the text holds {}.", reader.place(field),
                                          name.empty() ? std::string() : fmt::format(" ({})", name), fault));
}

constexpr size_t most_columns = size_t{1} << 17;

// The names in the current record, blanks around them left out. ConversionError for an empty or a repeated one, and for
// more of them than a data set has variables.
std::vector<std::string> read_names(const DelimitedReader &reader) {
    constexpr std::string_view unnamed = "v1"; // the row names of other programs
    std::vector<std::string> names;
    std::unordered_map<std::string_view, size_t> seen;
    if (reader.fields().size() > most_columns)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: there are more than {} columns.", reader.place(), most_columns));
    for (const std::string_view field : reader.fields()) {
        const std::string_view name = trimmed(field).empty() && names.empty() ? unnamed : trimmed(field);
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
    const size_t found = reader.fields().size();
    if (found != names)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: found {}, expected {}, one for each name.", reader.place(),
                                          found > names ? "more" : counted(static_cast<int64_t>(found), "field"),
                                          counted(static_cast<int64_t>(names), "field")));
}

void ColumnEvidence::add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name,
                         const MissingTexts &missing) {
    if (field.size() > longest_bytes_)
        longest_bytes_ = field.size();
    if (kind() != ColumnKind::text || kind_ == ColumnKind::unknown) {
        const std::string_view value = trimmed(field);
        double ignored = 0;
        if (missing.read(value, ignored))
            return;
        add_value(reader, value);
    }
    if (kind() == ColumnKind::text)
        check_text(reader, field, index, name, false);
}

void ColumnEvidence::add_value(const DelimitedReader &reader, std::string_view value) {
    if (kind_ == ColumnKind::unknown &&
        std::find(std::begin(foreign_words), std::end(foreign_words), value) == std::end(foreign_words)) {
        kind_ = kind_of_value(value);
        if (kind_ == ColumnKind::text && has_leading_zero(value) && is_number(value))
            decide(reader, value);
    } else if (kind_ == ColumnKind::unknown || !fits(kind_, value)) {
        decide(reader, value);
    }
    if (kind_ == ColumnKind::number && loses_digits(value) && inexact_++ == 0)
        first_inexact_ = reader.row();
}

void ColumnEvidence::decide(const DelimitedReader &reader, std::string_view value) {
    if (!decider_.empty())
        return;
    decider_ = excerpt(value);
    place_ = fmt::format("row {} (line {})", reader.row(), reader.line());
}

Variable ColumnEvidence::variable(const std::string &name) const {
    Variable variable{name, {}, ValueKind::numeric, 8, format_of(kind()), {}};
    if (kind() == ColumnKind::text) {
        variable.kind = ValueKind::character;
        variable.length = longest_bytes_ == 0 ? 1 : static_cast<int>(longest_bytes_);
    }
    return variable;
}

std::string ColumnEvidence::note(const std::string &name) const {
    constexpr const char *words[] = {"", "number", "date", "date-time", "time", "text"};
    const std::string value = fmt::format("\"{}\" in {}", decider_, place_);
    if (is_number(decider_) && has_leading_zero(decider_))
        return fmt::format("Column {} is kept as text: {} would lose its zeros as a number.", name, value);
    if (!decider_.empty() && kind_ != ColumnKind::unknown && kind_ != ColumnKind::text)
        return fmt::format("Column {} is text because of {}, which is no {}.", name, value,
                           words[static_cast<size_t>(kind_)]);
    if (kind() != ColumnKind::number || inexact_ == 0)
        return {};
    return inexact_note(name, inexact_, first_inexact_);
}

void say(Log *log, const std::string &note) {
    if (log && !note.empty())
        log->line(Severity::note, note);
}

// Reads all records that follow the names. Returns the variables with types, lengths and formats, and the number of
// observations.
DataSet find_types(DelimitedReader &reader, const std::vector<std::string> &names, const MissingTexts &missing,
                   Log *log) {
    std::vector<ColumnEvidence> columns(names.size());
    DataSet found;
    found.observations = 0;
    while (reader.next()) {
        check_width(reader, names.size());
        const auto fields = reader.fields();
        for (size_t i = 0; i < fields.size(); ++i)
            columns[i].add(reader, fields[i], i, names[i], missing);
        ++found.observations;
    }
    for (size_t i = 0; i < names.size(); ++i) {
        found.variables.push_back(columns[i].variable(names[i]));
        say(log, columns[i].note(names[i]));
    }
    return found;
}

// A schema may say any length. What no text of the file can reach is not worth a buffer.
constexpr uint64_t generous_length_bytes = 1 << 20;

struct SourceColumn {
    static constexpr size_t passed_over = std::numeric_limits<size_t>::max();
    size_t variable = passed_over;
    ValueKind kind = ValueKind::numeric;
    StoredType stored = StoredType::unknown;
    Temporal temporal = Temporal::none;
    size_t length_bytes = 0;
    LossCounter inside_period = {};
};

class DelimitedSource : public BatchSource {
  public:
    DelimitedSource(const std::string &path, const DelimitedInput &input)
        : missing_texts_(input.missing), missing_(missing_texts_), log_(input.log),
          file_(path, {.expected = InputFile::Content::text, .repeatable = true, .unpacking = input.unpacking}),
          text_(file_, input.encoding), reader_(text_, input.separator), given_(input.schema != nullptr),
          raw_(given_ && input.schema->raw) {
        file_.tell_remark([this](const std::string &sentence) { say(log_, sentence); });
        read_header();
        if (input.schema)
            use_schema(*input.schema);
        else
            look_through();
        if (path != "-")
            description_.name = std::filesystem::path(uncompressed_name(path)).stem().string();
    }

    const DataSet &description() const override { return description_; }
    bool next(Batch &batch, size_t most_rows) override;
    bool rewind() override;

  private:
    void read_header();
    void look_through();
    void use_schema(const Schema &schema);
    void plan(const std::vector<size_t> &variable_of_column);
    void take_record(Batch &batch);
    void end();
    double number(SourceColumn &column, size_t field);
    double number_of(SourceColumn &column, size_t field, std::string_view text);
    void append_text(Column &values, const SourceColumn &column, size_t field);
    void check_length(const SourceColumn &column, size_t field, size_t bytes) const;
    [[noreturn]] void refuse(size_t field, const std::string &reason) const;

    std::vector<std::string> missing_texts_;
    MissingTexts missing_;
    Log *log_;
    InputFile file_;
    TextInput text_;
    DelimitedReader reader_;
    bool given_; // the description comes from a schema
    bool raw_;   // the numbers of dates and times are those of a sink's raw form
    bool told_ = false;
    bool ended_ = false;
    std::vector<std::string> names_;
    std::vector<SourceColumn> columns_;
    DataSet description_;
    int64_t rows_ = 0;
    std::string bytes_; // of a long text that is none
};

// A file of nothing but empty lines is a data set without variables, as the sink writes it.
void DelimitedSource::read_header() {
    reader_.limit_fields(most_columns);
    if (reader_.next())
        names_ = read_names(reader_);
    else if (reader_.empty_file())
        throw ConversionError(Failure::conversion,
                              file_.name() + " is empty; a first line with the names of the columns was expected.");
    reader_.limit_fields(names_.size());
}

void DelimitedSource::look_through() {
    description_ = find_types(reader_, names_, missing_, log_);
    rewind();
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
                           !labels_name(variables[next - 1]).empty() &&
                           names_[i].starts_with(variables[next - 1].name + "_label");
        if (!label)
            throw ConversionError(
                Failure::conversion,
                fmt::format("{} does not fit the schema: column {} is called {}, the schema {}.", file_.name(), i + 1,
                            names_[i],
                            next < variables.size() ? "expects " + variables[next].name : "describes no more columns"));
        variable_of_column.push_back(SourceColumn::passed_over);
    }
    if (next != variables.size())
        throw ConversionError(Failure::conversion,
                              fmt::format("{} does not fit the schema: the schema describes {}, of which {} "
                                          "and those after it are not in the file.",
                                          file_.name(), counted(static_cast<int64_t>(variables.size()), "variable"),
                                          variables[next].name));
    plan(variable_of_column);
}

void DelimitedSource::plan(const std::vector<size_t> &variable_of_column) {
    for (const size_t index : variable_of_column) {
        SourceColumn column;
        if (index != SourceColumn::passed_over) {
            const Variable &variable = description_.variables[index];
            column = {index, variable.kind, variable.stored, temporal_class(variable),
                      static_cast<size_t>(variable.length)};
        }
        columns_.push_back(column);
    }
}

bool DelimitedSource::next(Batch &batch, size_t most_rows) {
    batch.start(description_.variables, rows_);
    while (!ended_) {
        ended_ = !reader_.next();
        if (ended_) {
            end();
            break;
        }
        take_record(batch);
        if (batch.end_row(most_rows))
            break;
    }
    return batch.rows != 0;
}

void DelimitedSource::take_record(Batch &batch) {
    check_width(reader_, columns_.size());
    ++rows_;
    for (size_t field = 0; field < columns_.size(); ++field) {
        SourceColumn &column = columns_[field];
        if (column.variable == SourceColumn::passed_over)
            continue;
        Column &values = batch.columns[column.variable];
        if (column.kind == ValueKind::numeric)
            values.append(number(column, field));
        else
            append_text(values, column, field);
    }
}

bool DelimitedSource::rewind() {
    reader_.rewind();
    reader_.next();
    for (SourceColumn &column : columns_)
        column.inside_period = {};
    rows_ = 0;
    ended_ = false;
    return true;
}

void DelimitedSource::end() {
    if (!given_ && rows_ != description_.observations)
        throw ConversionError(Failure::conversion,
                              fmt::format("{} changed while it was read: it had {}, now it has {}.", file_.name(),
                                          counted(description_.observations, "row"), rows_));
    for (const SourceColumn &column : columns_)
        if (!told_ && log_ && column.inside_period)
            log_->line(Severity::warning,
                       fmt::format("Variable {}: {}.", description_.variables[column.variable].name,
                                   column.inside_period.sentence("inside a period, taken as the whole of it")));
    told_ = true;
}

double DelimitedSource::number(SourceColumn &column, size_t field) {
    const std::string_view text = trimmed(reader_.fields()[field]);
    double value = 0;
    return missing_.read(text, value) ? value : number_of(column, field, text);
}

// The value of a text that is not missing, in the column's unit.
double DelimitedSource::number_of(SourceColumn &column, size_t field, std::string_view text) {
    double value = 0;
    std::optional<Moment> moment;
    if (read_number(text, value)) {
        if (!raw_ || column.temporal == Temporal::none)
            return column.stored == StoredType::float32 ? single_meant_by(value) : value;
        moment = converted(raw_unit(column.temporal), value, column.temporal);
        if (!moment)
            return value;
    } else {
        MomentBuffer buffer;
        moment = parse_moment(column.temporal, with_t(text, buffer));
        if (!moment)
            refuse(field, fmt::format("\"{}\" is not a number{}.", excerpt(text),
                                      column.temporal == Temporal::none ? "" : ", date or time as it was expected"));
    }
    if (moment->inside && !told_)
        column.inside_period.add(rows_);
    return moment->value;
}

void DelimitedSource::append_text(Column &values, const SourceColumn &column, size_t field) {
    std::string_view text = reader_.fields()[field];
    check_text(reader_, text, field, names_[field], given_);
    if (missing_.holds(text))
        text = {};
    if (column.stored != StoredType::long_text) {
        check_length(column, field, text.size());
        return values.append_text(text);
    }
    const LongText found = read_long_text(text, bytes_);
    values.append_text(found.value, found.binary);
}

void DelimitedSource::check_length(const SourceColumn &column, size_t field, size_t bytes) const {
    if (bytes > column.length_bytes)
        refuse(field, fmt::format("the text has {}; at most {} fit.", counted(static_cast<int64_t>(bytes), "byte"),
                                  column.length_bytes));
}

void DelimitedSource::refuse(size_t field, const std::string &reason) const {
    throw ConversionError(Failure::conversion, fmt::format("{} ({}): {}{}", reader_.place(field), names_[field], reason,
                                                           given_ ? "" : " The file changed while it was read."));
}

} // namespace

std::unique_ptr<BatchSource> delimited_source(const std::string &path, const DelimitedInput &input) {
    return std::make_unique<DelimitedSource>(path, input);
}

} // namespace vor
