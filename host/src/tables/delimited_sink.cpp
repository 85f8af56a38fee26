// Observations as delimited text. What each column holds is settled once, at the start; a row then goes straight into
// the output's buffer.
#include "files/output_file.h"
#include "tables/column_kind.h"
#include "tables/long_text.h"
#include "text/loss_counter.h"
#include "text/number_text.h"

#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <array>
#include <fmt/format.h>
#include <map>
#include <unordered_set>

namespace vor {

namespace {

enum class Content { value, label_or_value, label };

// How the values of a column look.
enum class Look { number, single, date_or_time, raw_date_or_time, text, long_text };

struct Column {
    size_t variable; // its index in the data set
    Content content;
    Look look;
    Temporal temporal;
    const LabelIndex *labels;
    LossCounter unsaid = {}; // values that are not in the unit of their column
    bool binary_told = false;

    bool is_text() const { return look == Look::text || look == Look::long_text; }
};

Look look_of(const Variable &variable, Temporal temporal, bool raw) {
    if (variable.kind == ValueKind::character)
        return variable.stored == StoredType::long_text ? Look::long_text : Look::text;
    if (temporal != Temporal::none)
        return raw ? Look::raw_date_or_time : Look::date_or_time;
    return variable.stored == StoredType::float32 ? Look::single : Look::number;
}

class DelimitedSink : public RowSink {
  public:
    DelimitedSink(const std::string &path, const DelimitedOptions &options)
        : options_(options), output_(path, options.group) {
        for (const char character : {options.separator, '"', '\r', '\n'})
            needs_quotes_[static_cast<unsigned char>(character)] = true;
    }

    void begin(const DataSet &description) override;
    void row(const Row &row) override;
    void finish() override;

  private:
    void plan(size_t index, const Variable &variable, const LabelIndex *labels);
    const LabelIndex *labels_of(const Variable &variable, const LabelLookup &lookup);
    void put_names(const DataSet &description);
    void put(Column &column, const Row &row);
    void put_value(Column &column, const Row &row);
    void put_number(Column &column, double value);
    char *write_value(Column &column, double value, char *out);
    void put_long_text(Column &column, const Row &row);
    void put_text(std::string_view text);
    void put_quoted(std::string_view text);
    void put_character(char character) {
        char *out = output_.space(1);
        *out = character;
        output_.wrote(out + 1);
    }

    DelimitedOptions options_;
    OutputFile output_;
    std::array<bool, 256> needs_quotes_{};
    std::vector<std::string> names_; // of the variables
    std::vector<Column> columns_;
    std::map<const UserFormat *, LabelIndex> label_indexes_; // variables may share one
    int64_t rows_ = 0;
};

void DelimitedSink::begin(const DataSet &description) {
    const LabelLookup lookup(description.label_tables, options_.formats);
    for (size_t i = 0; i < description.variables.size(); ++i) {
        names_.push_back(description.variables[i].name);
        plan(i, description.variables[i], labels_of(description.variables[i], lookup));
    }
    put_names(description);
}

void DelimitedSink::plan(size_t index, const Variable &variable, const LabelIndex *labels) {
    // Labels under the name of a date's format leave no format that would say so.
    const bool dated = variable.stata_format.empty() && labels ? false : variable.kind == ValueKind::numeric;
    const Temporal temporal = dated ? temporal_class(variable) : Temporal::none;
    const Look look = look_of(variable, temporal, options_.raw);
    const bool replace = labels && options_.labels == LabelForm::text;
    columns_.push_back({index, replace ? Content::label_or_value : Content::value, look, temporal, labels});
    if (labels && options_.labels == LabelForm::both)
        columns_.push_back({index, Content::label, look, temporal, labels});
}

const LabelIndex *DelimitedSink::labels_of(const Variable &variable, const LabelLookup &lookup) {
    const UserFormat *format = options_.labels == LabelForm::codes ? nullptr : lookup.find(variable);
    if (!format || format->kind != variable.kind)
        return nullptr;
    return &label_indexes_.try_emplace(format, *format).first->second;
}

void DelimitedSink::put_names(const DataSet &description) {
    std::unordered_set<std::string> taken;
    for (const Variable &variable : description.variables)
        taken.insert(variable.name);
    for (size_t i = 0; i < columns_.size(); ++i) {
        std::string name = description.variables[columns_[i].variable].name;
        if (columns_[i].content == Content::label) {
            const std::string stem = name + "_label";
            name = stem;
            for (int number = 2; !taken.insert(name).second; ++number)
                name = fmt::format("{}_{}", stem, number);
        }
        if (i != 0)
            put_character(options_.separator);
        put_text(name);
    }
    put_character('\n');
}

void DelimitedSink::row(const Row &row) {
    ++rows_;
    bool first = true;
    for (Column &column : columns_) {
        if (!first)
            put_character(options_.separator);
        first = false;
        put(column, row);
    }
    put_character('\n');
}

void DelimitedSink::put(Column &column, const Row &row) {
    if (column.content == Content::value)
        return put_value(column, row);
    const std::string *label = column.is_text() ? column.labels->find(row.text(column.variable))
                                                : column.labels->find(row.number(column.variable));
    if (!label && column.content == Content::label_or_value)
        return put_value(column, row);
    put_text(label ? std::string_view(*label) : std::string_view());
}

void DelimitedSink::put_value(Column &column, const Row &row) {
    if (column.look == Look::text)
        put_text(row.text(column.variable));
    else if (column.look == Look::long_text)
        put_long_text(column, row);
    else
        put_number(column, row.number(column.variable));
}

void DelimitedSink::put_number(Column &column, double value) {
    static_assert(number_text_max_bytes + iso_text_max_bytes <= OutputFile::piece_bytes);
    char *out = output_.space(number_text_max_bytes + iso_text_max_bytes);
    if (!is_missing(value))
        output_.wrote(write_value(column, value, out));
    else if (missing_mark(value) != '.')
        output_.wrote(write_number(value, out));
    else if (columns_.size() == 1)
        put_quoted({});
}

char *DelimitedSink::write_value(Column &column, double value, char *out) {
    if (column.look == Look::single)
        return write_single(value, out);
    if (column.look == Look::date_or_time) {
        const size_t bytes = write_iso(column.temporal, value, out);
        if (bytes != 0)
            return out + bytes;
    } else if (column.look == Look::raw_date_or_time) {
        const auto raw = converted(column.temporal, value, raw_unit(column.temporal));
        if (raw)
            return write_number(raw->value, out);
        column.unsaid.add(rows_);
    }
    return write_number(value, out);
}

void DelimitedSink::put_long_text(Column &column, const Row &row) {
    const std::string_view text = row.text(column.variable);
    if (row.is_binary(column.variable)) {
        if (!column.binary_told && options_.log)
            options_.log->line(Severity::note, fmt::format("Variable {} holds bytes that are no text; they are written "
                                                           "as base64.",
                                                           names_[column.variable]));
        column.binary_told = true;
        put_text(binary_as_text(text));
    } else if (needs_text_mark(text)) {
        put_text(std::string(text_mark).append(text));
    } else {
        put_text(text);
    }
}

void DelimitedSink::finish() {
    for (const Column &column : columns_)
        if (column.unsaid && options_.log)
            options_.log->line(
                Severity::warning,
                fmt::format("Variable {}: {}.", names_[column.variable],
                            column.unsaid.sentence(raw_unit(column.temporal) == Temporal::date
                                                       ? "not to be said in days, kept in its own unit"
                                                       : "not to be said in seconds, kept in its own unit")));
    if (options_.log)
        options_.log->before_output();
    output_.finish();
}

void DelimitedSink::put_text(std::string_view text) {
    bool quotes = text.empty() && columns_.size() == 1;
    for (const char character : text)
        quotes |= needs_quotes_[static_cast<unsigned char>(character)];
    if (quotes)
        put_quoted(text);
    else
        output_.append(text);
}

void DelimitedSink::put_quoted(std::string_view text) {
    put_character('"');
    for (size_t quote = 0; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
        output_.append(text.substr(0, quote + 1));
        put_character('"');
    }
    output_.append(text);
    put_character('"');
}

} // namespace

std::unique_ptr<RowSink> delimited_sink(const std::string &path, const DelimitedOptions &options) {
    return std::make_unique<DelimitedSink>(path, options);
}

} // namespace vor
