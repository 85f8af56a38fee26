// Observations as delimited text. What each column holds is settled once, at the start; a row then goes straight into
// the output's buffer.
#include "files/output_file.h"
#include "text/number_text.h"

#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <array>
#include <fmt/format.h>
#include <unordered_set>

namespace vor {

namespace {

enum class Content { number, date_or_time, text, label_or_value, label };

struct Column {
    size_t variable; // its index in the data set
    ValueKind kind;
    Content content;
    Temporal temporal;
    const LabelIndex *labels;
};

class DelimitedSink : public RowSink {
  public:
    DelimitedSink(const std::string &path, const DelimitedOptions &options)
        : options_(options), output_(path, options.group) {
        for (const char character : {options.separator, '"', '\r', '\n'})
            needs_quotes_[static_cast<unsigned char>(character)] = true;
    }

    void begin(const DataSet &description) override;
    void row(const Row &row) override;
    void finish() override { output_.finish(); }

  private:
    void plan(size_t index, const Variable &variable);
    const LabelIndex *labels_of(const Variable &variable);
    void put_names(const DataSet &description);
    void put(const Column &column, const Row &row);
    void put_number(const Column &column, double value);
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
    std::vector<Column> columns_;
    std::vector<LabelIndex> label_indexes_;
};

void DelimitedSink::begin(const DataSet &description) {
    label_indexes_.reserve(description.variables.size()); // columns point into it
    for (size_t i = 0; i < description.variables.size(); ++i)
        plan(i, description.variables[i]);
    put_names(description);
}

void DelimitedSink::plan(size_t index, const Variable &variable) {
    const bool numeric = variable.kind == ValueKind::numeric;
    const LabelIndex *labels = labels_of(variable);
    const Temporal temporal = options_.raw || !numeric || labels ? Temporal::none : temporal_class(variable.format);
    const Content plain = !numeric                     ? Content::text
                          : temporal != Temporal::none ? Content::date_or_time
                                                       : Content::number;
    const bool replace = labels && options_.labels == LabelForm::text;
    columns_.push_back({index, variable.kind, replace ? Content::label_or_value : plain, temporal, labels});
    if (labels && options_.labels == LabelForm::both)
        columns_.push_back({index, variable.kind, Content::label, temporal, labels});
}

const LabelIndex *DelimitedSink::labels_of(const Variable &variable) {
    if (options_.labels == LabelForm::codes || !options_.formats || variable.format.name.empty())
        return nullptr;
    const UserFormat *format = options_.formats(variable.format.name);
    if (!format || format->kind != variable.kind)
        return nullptr;
    label_indexes_.emplace_back(*format);
    return &label_indexes_.back();
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
    bool first = true;
    for (const Column &column : columns_) {
        if (!first)
            put_character(options_.separator);
        first = false;
        put(column, row);
    }
    put_character('\n');
}

void DelimitedSink::put(const Column &column, const Row &row) {
    if (column.content == Content::number)
        return put_number(column, row.number(column.variable));
    const bool numeric = column.kind == ValueKind::numeric;
    if (column.content != Content::date_or_time && column.content != Content::text) {
        const std::string *label =
            numeric ? column.labels->find(row.number(column.variable)) : column.labels->find(row.text(column.variable));
        if (label || column.content == Content::label)
            return put_text(label ? std::string_view(*label) : std::string_view());
    }
    if (numeric)
        return put_number(column, row.number(column.variable));
    put_text(row.text(column.variable));
}

void DelimitedSink::put_number(const Column &column, double value) {
    static_assert(number_text_max_bytes <= OutputFile::piece_bytes && iso_text_max_bytes <= OutputFile::piece_bytes);
    char *out = output_.space(number_text_max_bytes + iso_text_max_bytes);
    if (is_missing(value)) {
        if (missing_mark(value) != '.')
            output_.wrote(write_number(value, out));
        else if (columns_.size() == 1)
            put_quoted({});
        return;
    }
    const size_t bytes = column.content == Content::date_or_time ? write_iso(column.temporal, value, out) : 0;
    output_.wrote(bytes != 0 ? out + bytes : write_number(value, out));
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
