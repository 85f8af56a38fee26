// Delimited text as the source of a data set.
#include "tables/column_kind.h"
#include "tables/delimited_fields.h"
#include "tables/delimited_types.h"
#include "tables/long_text.h"
#include "tables/record_pieces.h"
#include "text/loss_counter.h"

#include <vorhost/ascii.h>
#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/sentences.h>
#include <vorhost/tables.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vor {
namespace {

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

// A schema may say any length. What no text of the file can reach is not worth a buffer.
constexpr uint64_t generous_length_bytes = 1 << 20;

struct SourceColumn {
    static constexpr size_t passed_over = std::numeric_limits<size_t>::max();
    size_t variable = passed_over;
    std::string name = {};
    ValueKind kind = ValueKind::numeric;
    StoredType stored = StoredType::unknown; // as a schema says it, which also says how a text is written
    Temporal temporal = Temporal::none;
    size_t length_bytes = 0;
};

// Values of fields by what is known of their columns, on any thread.
class FieldValues {
  public:
    const MissingTexts &missing;
    std::vector<SourceColumn> columns = {};
    bool given = false; // the description comes from a schema
    bool raw = false;   // the numbers of dates and times are those of a sink's raw form

    // Appends the fields of the reader's current record. inside: of each column, counts dates inside a period.
    void append(const DelimitedReader &reader, Batch &batch, std::vector<LossCounter> &inside) const;

  private:
    double number(const DelimitedReader &reader, size_t field, LossCounter &inside) const;
    double number_of(const DelimitedReader &reader, size_t field, std::string_view text, LossCounter &inside) const;
    void append_text(const DelimitedReader &reader, size_t field, Column &values) const;
    [[noreturn]] void refuse(const DelimitedReader &reader, size_t field, const std::string &reason) const;
};

void FieldValues::append(const DelimitedReader &reader, Batch &batch, std::vector<LossCounter> &inside) const {
    check_width(reader, columns.size());
    for (size_t field = 0; field < columns.size(); ++field) {
        const SourceColumn &column = columns[field];
        if (column.variable == SourceColumn::passed_over)
            continue;
        Column &values = batch.columns[column.variable];
        if (column.kind == ValueKind::numeric)
            values.append(number(reader, field, inside[field]));
        else
            append_text(reader, field, values);
    }
}

double FieldValues::number(const DelimitedReader &reader, size_t field, LossCounter &inside) const {
    const std::string_view text = trimmed(reader.fields()[field]);
    double value = 0;
    return missing.read(text, value) ? value : number_of(reader, field, text, inside);
}

// The value of a text that is not missing, in the column's unit.
double FieldValues::number_of(const DelimitedReader &reader, size_t field, std::string_view text,
                              LossCounter &inside) const {
    const SourceColumn &column = columns[field];
    double value = 0;
    std::optional<Moment> moment;
    if (read_number(text, value)) {
        if (!raw || column.temporal == Temporal::none)
            return column.stored == StoredType::float32 ? single_meant_by(value) : value;
        moment = converted(raw_unit(column.temporal), value, column.temporal);
        if (!moment)
            return value;
    } else {
        MomentBuffer buffer;
        moment = parse_moment(column.temporal, with_t(text, buffer));
        if (!moment)
            refuse(reader, field,
                   fmt::format("\"{}\" is not a number{}.", excerpt(text),
                               column.temporal == Temporal::none ? "" : ", date or time as it was expected"));
    }
    if (moment->inside)
        inside.add(reader.row());
    return moment->value;
}

void FieldValues::append_text(const DelimitedReader &reader, size_t field, Column &values) const {
    const SourceColumn &column = columns[field];
    std::string_view text = reader.fields()[field];
    check_text(reader, text, field, column.name, given);
    if (missing.holds(text))
        text = {};
    if (column.stored == StoredType::long_text) {
        std::string bytes; // of one that is no text
        const LongText found = read_long_text(text, bytes);
        return values.append_text(found.value, found.binary);
    }
    if (text.size() > column.length_bytes)
        refuse(reader, field,
               fmt::format("the text has {}; at most {} fit.", counted(static_cast<int64_t>(text.size()), "byte"),
                           column.length_bytes));
    values.append_text(text);
}

void FieldValues::refuse(const DelimitedReader &reader, size_t field, const std::string &reason) const {
    throw ConversionError(Failure::conversion,
                          fmt::format("{} ({}): {}{}", reader.place(field), columns[field].name, reason,
                                      given ? "" : " The file changed while it was read."));
}

class DelimitedSource : public BatchSource {
  public:
    DelimitedSource(const std::string &path, const DelimitedInput &input)
        : missing_texts_(input.missing), missing_(missing_texts_), log_(input.log),
          file_(path, {.expected = InputFile::Content::text, .repeatable = true, .unpacking = input.unpacking}),
          text_input_(file_, input.encoding), text_(text_input_, input.separator),
          threads_(input.threads), values_{.missing = missing_,
                                           .given = input.schema != nullptr,
                                           .raw = input.schema != nullptr && input.schema->raw} {
        file_.tell_remark([this](const std::string &sentence) { say(Severity::note, sentence); });
        read_header();
        if (input.schema)
            use_schema(*input.schema);
        else
            look_through();
        inside_period_.resize(names_.size());
        if (path != "-")
            description_.name = std::filesystem::path(uncompressed_name(path)).stem().string();
    }

    const DataSet &description() const override { return description_; }
    bool next(Batch &batch, size_t most_rows) override;
    bool rewind() override;

  private:
    class Piece;

    void say(Severity severity, const std::string &sentence) {
        if (log_)
            log_->line(severity, sentence);
    }
    void read_header();
    void look_through();
    void use_schema(const Schema &schema);
    void plan(const std::vector<size_t> &variable_of_column);
    bool fetch();
    void end();

    std::vector<std::string> missing_texts_;
    MissingTexts missing_;
    Log *log_;
    InputFile file_;
    TextInput text_input_;
    DelimitedText text_;
    size_t threads_;
    FieldValues values_;
    std::vector<std::string> names_;
    DataSet description_;
    std::vector<LossCounter> inside_period_; // dates in a column of periods, by column
    bool told_ = false;
    std::deque<Batch> ready_;
    size_t given_rows_ = 0;           // of the first batch that is ready
    int64_t rows_ = 0;                // read so far
    std::optional<OrderedWork> work_; // the last: its threads see everything above
};

// Batches made of a piece of the text.
class DelimitedSource::Piece : public RecordWork {
  public:
    Piece(DelimitedSource &source, Buffer bytes) : RecordWork(source.text_, std::move(bytes)), source_(source) {}

  private:
    void read(DelimitedReader &reader) override {
        const std::vector<Variable> &variables = source_.description_.variables;
        const size_t most = batch_rows(variables);
        batches_.clear();
        inside_.assign(source_.names_.size(), {});
        bool full = true;
        while (reader.next()) {
            if (full)
                batches_.emplace_back().start(variables, 0);
            source_.values_.append(reader, batches_.back(), inside_);
            full = batches_.back().end_row(most);
        }
    }

    void take(const TextPlace &before) override {
        for (size_t i = 0; i < inside_.size(); ++i)
            source_.inside_period_[i].add(inside_[i], before.records);
        for (Batch &batch : batches_) {
            batch.first_row = source_.rows_;
            source_.rows_ += static_cast<int64_t>(batch.rows);
            source_.ready_.push_back(std::move(batch));
        }
    }

    DelimitedSource &source_;
    std::vector<Batch> batches_;
    std::vector<LossCounter> inside_;
};

// A file of nothing but empty lines is a data set without variables, as the sink writes it.
void DelimitedSource::read_header() {
    text_.limit_fields(most_columns);
    if (const DelimitedReader *first = text_.begin())
        names_ = read_names(*first);
    else if (text_.empty())
        throw ConversionError(Failure::conversion,
                              file_.name() + " is empty; a first line with the names of the columns was expected.");
    text_.limit_fields(names_.size());
}

void DelimitedSource::look_through() {
    description_ = find_types(text_, names_, missing_, threads_,
                              [this](const std::string &sentence) { say(Severity::note, sentence); });
    text_.begin();
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
    for (size_t i = 0; i < names_.size(); ++i) {
        SourceColumn &column = values_.columns.emplace_back();
        column.name = names_[i];
        column.variable = variable_of_column[i];
        if (column.variable == SourceColumn::passed_over)
            continue;
        const Variable &variable = description_.variables[column.variable];
        column.kind = variable.kind;
        column.stored = values_.given ? variable.stored : StoredType::unknown;
        column.temporal = temporal_class(variable);
        column.length_bytes = static_cast<size_t>(variable.length);
    }
}

// Hands out what is ready, a part of it when less is wanted.
bool DelimitedSource::next(Batch &batch, size_t most_rows) {
    while (ready_.empty()) {
        if (!fetch()) {
            end();
            batch.start(description_.variables, rows_);
            return false;
        }
    }
    Batch &first = ready_.front();
    if (given_rows_ == 0 && first.rows <= most_rows) {
        std::swap(batch, first);
        ready_.pop_front();
        return true;
    }
    batch.start(description_.variables, first.first_row + static_cast<int64_t>(given_rows_));
    do {
        for (size_t i = 0; i < batch.columns.size(); ++i)
            if (const Column &column = first.columns[i]; column.is_text())
                batch.columns[i].append_text(column.text(given_rows_), column.is_binary(given_rows_));
            else
                batch.columns[i].append(column.number(given_rows_));
        ++given_rows_;
    } while (!batch.end_row(most_rows) && given_rows_ < first.rows);
    if (given_rows_ == first.rows) {
        given_rows_ = 0;
        ready_.pop_front();
    }
    return true;
}

// Puts a piece to work; false when there are no more and all of them were taken.
bool DelimitedSource::fetch() {
    if (!work_)
        work_.emplace(threads_, 2 * threads_);
    Buffer piece;
    if (text_.next(piece)) {
        work_->submit(std::make_unique<Piece>(*this, std::move(piece)));
        return true;
    }
    work_->finish();
    return !ready_.empty();
}

bool DelimitedSource::rewind() {
    work_.reset();
    ready_.clear();
    given_rows_ = 0;
    rows_ = 0;
    inside_period_.assign(names_.size(), {});
    text_.begin();
    return true;
}

void DelimitedSource::end() {
    if (!values_.given && rows_ != description_.observations)
        throw ConversionError(Failure::conversion,
                              fmt::format("{} changed while it was read: it had {}, now it has {}.", file_.name(),
                                          counted(description_.observations, "row"), rows_));
    for (size_t i = 0; i < inside_period_.size() && !told_; ++i)
        if (inside_period_[i])
            say(Severity::warning, fmt::format("Variable {}: {}.", names_[i],
                                               inside_period_[i].sentence("inside a period, taken as the whole of "
                                                                          "it")));
    told_ = true;
}

} // namespace

std::unique_ptr<BatchSource> delimited_source(const std::string &path, const DelimitedInput &input) {
    return std::make_unique<DelimitedSource>(path, input);
}

} // namespace vor
