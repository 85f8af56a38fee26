// Observations as delimited text. What each column holds is settled once, at the start; batches then become text, each
// by itself, and the text goes out in their order.
#include "files/ordered_work.h"
#include "files/output_file.h"
#include "tables/column_kind.h"
#include "tables/long_text.h"
#include "text/loss_counter.h"
#include "text/number_text.h"

#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <map>
#include <unordered_set>

namespace vor {

namespace {

enum class Content { value, label_or_value, label };

// How the values of a column look.
enum class Look { number, single, date_or_time, raw_date_or_time, text, long_text };

struct TextColumn {
    size_t variable; // its index in the data set
    Content content;
    Look look;
    Temporal temporal;
    const LabelIndex *labels;

    bool is_text() const { return look == Look::text || look == Look::long_text; }
};

Look look_of(const Variable &variable, Temporal temporal, bool raw) {
    if (variable.kind == ValueKind::character)
        return variable.stored == StoredType::long_text ? Look::long_text : Look::text;
    if (temporal != Temporal::none)
        return raw ? Look::raw_date_or_time : Look::date_or_time;
    return variable.stored == StoredType::float32 ? Look::single : Look::number;
}

// What is noticed about a column on the way.
struct Remarks {
    LossCounter unsaid = {}; // values that are not in the unit of their column
    bool binary = false;
};

// A batch and what becomes of it.
struct BatchText {
    Batch batch;
    int64_t first_row = 0; // of the text, from 1
    Buffer text;
    std::vector<Remarks> remarks; // of the columns of the text

    // A place for `bytes` more bytes of text, of which those before `out` are written.
    char *room(char *out, size_t bytes) {
        const auto written = static_cast<size_t>(out - text.data());
        if (written + bytes > text.size())
            text.resize(std::max(written + bytes, 2 * text.size()));
        return text.data() + written;
    }
};

// The columns of the text, and how a batch becomes lines of them. Any thread may format.
class LineFormat {
  public:
    LineFormat(const DataSet &description, const DelimitedOptions &options);
    LineFormat(const LineFormat &) = delete;
    LineFormat &operator=(const LineFormat &) = delete;

    const std::vector<TextColumn> &columns() const { return columns_; }
    std::string names(const DataSet &description) const; // the first line
    void format(BatchText &piece) const;

  private:
    void plan(size_t index, const Variable &variable, const LabelIndex *labels);
    const LabelIndex *labels_of(const Variable &variable, const LabelLookup &lookup);
    char *write(BatchText &piece, size_t index, size_t row, char *out) const;
    char *write_value(BatchText &piece, size_t index, size_t row, char *out) const;
    char *write_number_of(BatchText &piece, size_t index, size_t row, char *out) const;
    char *write_present(BatchText &piece, size_t index, size_t row, double value, char *out) const;
    char *write_long_text(BatchText &piece, size_t index, size_t row, char *out) const;
    char *put_text(BatchText &piece, std::string_view text, char *out) const;
    char *write_text(std::string_view text, char *out) const;

    char separator_;
    bool raw_;
    LabelForm labels_;
    std::array<bool, 256> needs_quotes_{};
    std::vector<TextColumn> columns_;
    size_t fixed_bytes_ = 0;                                 // the most that a line takes besides its texts
    std::map<const UserFormat *, LabelIndex> label_indexes_; // variables may share one
};

// The most that a text of `bytes` takes: quotes, and all of it doubled.
constexpr size_t most_text_bytes(size_t bytes) {
    return 2 * bytes + 2;
}

LineFormat::LineFormat(const DataSet &description, const DelimitedOptions &options)
    : separator_(options.separator), raw_(options.raw), labels_(options.labels) {
    for (const char character : {options.separator, '"', '\r', '\n'})
        needs_quotes_[static_cast<unsigned char>(character)] = true;
    const LabelLookup lookup(description.label_tables, options.formats);
    for (size_t i = 0; i < description.variables.size(); ++i)
        plan(i, description.variables[i], labels_of(description.variables[i], lookup));
    fixed_bytes_ = columns_.size() * (number_text_max_bytes + iso_text_max_bytes + 1) + 1;
}

void LineFormat::plan(size_t index, const Variable &variable, const LabelIndex *labels) {
    // Labels under the name of a date's format leave no format that would say so.
    const bool dated = variable.stata_format.empty() && labels ? false : variable.kind == ValueKind::numeric;
    const Temporal temporal = dated ? temporal_class(variable) : Temporal::none;
    const Look look = look_of(variable, temporal, raw_);
    const bool replace = labels && labels_ == LabelForm::text;
    columns_.push_back({index, replace ? Content::label_or_value : Content::value, look, temporal, labels});
    if (labels && labels_ == LabelForm::both)
        columns_.push_back({index, Content::label, look, temporal, labels});
}

const LabelIndex *LineFormat::labels_of(const Variable &variable, const LabelLookup &lookup) {
    const UserFormat *format = labels_ == LabelForm::codes ? nullptr : lookup.find(variable);
    if (!format || format->kind != variable.kind)
        return nullptr;
    return &label_indexes_.try_emplace(format, *format).first->second;
}

std::string LineFormat::names(const DataSet &description) const {
    std::unordered_set<std::string> taken;
    for (const Variable &variable : description.variables)
        taken.insert(variable.name);
    std::string line;
    for (size_t i = 0; i < columns_.size(); ++i) {
        std::string name = description.variables[columns_[i].variable].name;
        if (columns_[i].content == Content::label) {
            const std::string stem = name + "_label";
            name = stem;
            for (int number = 2; !taken.insert(name).second; ++number)
                name = fmt::format("{}_{}", stem, number);
        }
        if (i != 0)
            line += separator_;
        const size_t before = line.size();
        line.resize(before + most_text_bytes(name.size()));
        line.resize(static_cast<size_t>(write_text(name, line.data() + before) - line.data()));
    }
    return line + '\n';
}

void LineFormat::format(BatchText &piece) const {
    piece.remarks.assign(columns_.size(), {});
    char *out = piece.text.data();
    for (size_t row = 0; row < piece.batch.rows; ++row) {
        out = piece.room(out, fixed_bytes_);
        for (size_t i = 0; i < columns_.size(); ++i) {
            if (i != 0)
                *out++ = separator_;
            out = write(piece, i, row, out);
        }
        *out++ = '\n';
    }
    piece.text.resize(static_cast<size_t>(out - piece.text.data()));
}

char *LineFormat::write(BatchText &piece, size_t index, size_t row, char *out) const {
    const TextColumn &column = columns_[index];
    if (column.content == Content::value)
        return write_value(piece, index, row, out);
    const Column &values = piece.batch.columns[column.variable];
    const std::string *label =
        column.is_text() ? column.labels->find(values.text(row)) : column.labels->find(values.number(row));
    if (!label && column.content == Content::label_or_value)
        return write_value(piece, index, row, out);
    return put_text(piece, label ? std::string_view(*label) : std::string_view(), out);
}

char *LineFormat::write_value(BatchText &piece, size_t index, size_t row, char *out) const {
    switch (columns_[index].look) {
    case Look::text:
        return put_text(piece, piece.batch.columns[columns_[index].variable].text(row), out);
    case Look::long_text:
        return write_long_text(piece, index, row, out);
    default:
        return write_number_of(piece, index, row, out);
    }
}

char *LineFormat::write_number_of(BatchText &piece, size_t index, size_t row, char *out) const {
    const Column &values = piece.batch.columns[columns_[index].variable];
    const double value = values.number(row);
    if (!is_missing(value))
        return write_present(piece, index, row, value, out);
    if (missing_mark(value) != '.')
        return write_number(value, out);
    return columns_.size() == 1 ? write_text({}, out) : out;
}

char *LineFormat::write_present(BatchText &piece, size_t index, size_t row, double value, char *out) const {
    const TextColumn &column = columns_[index];
    if (column.look == Look::single)
        return write_single(value, out);
    if (column.look == Look::date_or_time) {
        if (const size_t bytes = write_iso(column.temporal, value, out))
            return out + bytes;
    } else if (column.look == Look::raw_date_or_time) {
        if (const auto raw = converted(column.temporal, value, raw_unit(column.temporal)))
            return write_number(raw->value, out);
        piece.remarks[index].unsaid.add(piece.first_row + static_cast<int64_t>(row));
    }
    return write_number(value, out);
}

char *LineFormat::write_long_text(BatchText &piece, size_t index, size_t row, char *out) const {
    const Column &values = piece.batch.columns[columns_[index].variable];
    const std::string_view text = values.text(row);
    if (values.is_binary(row)) {
        piece.remarks[index].binary = true;
        return put_text(piece, binary_as_text(text), out);
    }
    if (needs_text_mark(text))
        return put_text(piece, std::string(text_mark).append(text), out);
    return put_text(piece, text, out);
}

// The rest of the line has room behind it.
char *LineFormat::put_text(BatchText &piece, std::string_view text, char *out) const {
    return write_text(text, piece.room(out, most_text_bytes(text.size()) + fixed_bytes_));
}

char *LineFormat::write_text(std::string_view text, char *out) const {
    bool quotes = text.empty() && columns_.size() == 1;
    for (const char character : text)
        quotes |= needs_quotes_[static_cast<unsigned char>(character)];
    if (!quotes)
        return std::copy(text.begin(), text.end(), out);
    *out++ = '"';
    for (const char character : text) {
        *out++ = character;
        if (character == '"')
            *out++ = '"';
    }
    *out++ = '"';
    return out;
}

class DelimitedSink : public BatchSink {
  public:
    DelimitedSink(const std::string &path, const DelimitedOptions &options)
        : options_(options),
          output_(path, options.group, machine_files(), {}, {options.compression_level, options.threads}),
          work_(options.threads, pieces_per_thread * options.threads) {}

    void begin(const DataSet &description) override;
    void put(Batch &batch) override;
    void finish() override;

  private:
    static constexpr size_t pieces_per_thread = 2; // one in work, one that waits

    // What is formatted on any thread and goes out in its turn.
    class Piece : public OrderedWork::Piece {
      public:
        explicit Piece(DelimitedSink &sink) : sink_(sink) {
            if (sink.free_.empty())
                return;
            text = std::move(sink.free_.back());
            sink.free_.pop_back();
        }
        void work() override { sink_.format_->format(text); }
        void deliver() override {
            sink_.deliver(text);
            sink_.free_.push_back(std::move(text));
        }

        BatchText text;

      private:
        DelimitedSink &sink_;
    };
    void deliver(const BatchText &piece);
    void say(Severity severity, size_t column, const std::string &what) const;

    DelimitedOptions options_;
    OutputFile output_;
    std::unique_ptr<LineFormat> format_;
    std::vector<std::string> names_; // of the variables
    std::vector<Remarks> remarks_;   // of the columns
    int64_t rows_ = 0;
    std::vector<BatchText> free_; // whose memory waits for the next pieces
    OrderedWork work_;            // the last: its threads see everything above
};

void DelimitedSink::begin(const DataSet &description) {
    for (const Variable &variable : description.variables)
        names_.push_back(variable.name);
    format_ = std::make_unique<LineFormat>(description, options_);
    remarks_.resize(format_->columns().size());
    output_.append(format_->names(description));
}

void DelimitedSink::put(Batch &batch) {
    auto piece = std::make_unique<Piece>(*this);
    std::swap(piece->text.batch, batch);
    piece->text.first_row = rows_ + 1;
    rows_ += static_cast<int64_t>(piece->text.batch.rows);
    work_.submit(std::move(piece));
}

void DelimitedSink::deliver(const BatchText &piece) {
    output_.append({piece.text.data(), piece.text.size()});
    for (size_t i = 0; i < remarks_.size(); ++i) {
        remarks_[i].unsaid.add(piece.remarks[i].unsaid);
        remarks_[i].binary = remarks_[i].binary || piece.remarks[i].binary;
    }
}

void DelimitedSink::say(Severity severity, size_t column, const std::string &what) const {
    if (options_.log)
        options_.log->line(severity, "Variable " + names_[format_->columns()[column].variable] + what);
}

void DelimitedSink::finish() {
    work_.finish();
    for (size_t i = 0; i < remarks_.size(); ++i) {
        if (remarks_[i].binary)
            say(Severity::note, i, " holds bytes that are no text; they are written as base64.");
        const bool days = raw_unit(format_->columns()[i].temporal) == Temporal::date;
        if (remarks_[i].unsaid)
            say(Severity::warning, i,
                fmt::format(": {}.", remarks_[i].unsaid.sentence(days ? "not to be said in days, kept in its own unit"
                                                                      : "not to be said in seconds, kept in its own "
                                                                        "unit")));
    }
    if (options_.log)
        options_.log->before_output();
    output_.finish();
}

} // namespace

std::unique_ptr<BatchSink> delimited_sink(const std::string &path, const DelimitedOptions &options) {
    return std::make_unique<DelimitedSink>(path, options);
}

} // namespace vor
