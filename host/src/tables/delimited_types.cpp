#include "tables/delimited_types.h"

#include "tables/column_kind.h"
#include "text/number_range.h"

#include <vor/stata_layout.h>
#include <vorhost/ascii.h>

#include <fmt/format.h>
#include <memory>
#include <utility>

namespace vor {
namespace {

// What other programs write for a missing value or for one that is no number.
constexpr std::string_view foreign_words[] = {"NA", "N/A", "#N/A", "NaN", "NAN", "NULL", "null", "None", "Inf", "-Inf"};

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

// The values of one column seen so far.
class ColumnEvidence {
  public:
    // Nothing seen, of a column of which the records before these have shown something.
    ColumnEvidence following() const;

    // One field of the reader's current record.
    void add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name,
             const MissingTexts &missing);

    // Whether what was seen after `earlier.following()` at another time is what is seen after it now.
    bool follows(const ColumnEvidence &earlier) const { return began_as_ == earlier.kind_; }

    // What was seen in later records, whose numbers and lines count from `before`.
    void add(const ColumnEvidence &later, const TextPlace &before);

    // The variable that holds all values seen, and what its numbers show.
    Variable variable(const std::string &name) const;

    // A note about integers that a double does not hold exactly, or about the value that made a text of what looked
    // like something else; empty when there is nothing to say.
    std::string note(const std::string &name) const;

  private:
    void add_value(const DelimitedReader &reader, std::string_view value);
    bool fits(const DelimitedReader &reader, std::string_view value);
    void decide(const DelimitedReader &reader, std::string_view value);
    ColumnKind kind() const { return decided_ ? ColumnKind::text : kind_; }

    ColumnKind began_as_ = ColumnKind::unknown;
    ColumnKind kind_ = ColumnKind::unknown; // of the values but foreign words
    bool decided_ = false;                  // to be text: by the decider, or by one that was seen before
    size_t longest_bytes_ = 0;
    int64_t inexact_ = 0;
    int64_t first_inexact_ = 0;
    std::string decider_; // the value that made a text of it
    int64_t decider_row_ = 0;
    int64_t decider_line_ = 0;
    NumberRange numbers_; // in the unit in which they are stored
};

ColumnEvidence ColumnEvidence::following() const {
    ColumnEvidence next;
    next.began_as_ = next.kind_ = kind_;
    next.decided_ = decided_;
    return next;
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
    if (kind_ == ColumnKind::unknown) {
        if (std::find(std::begin(foreign_words), std::end(foreign_words), value) != std::end(foreign_words))
            return decide(reader, value);
        kind_ = kind_of_value(value);
    }
    if (!fits(reader, value))
        decide(reader, value);
}

// Whether a value is of the column's kind; a number, date or time is taken.
bool ColumnEvidence::fits(const DelimitedReader &reader, std::string_view value) {
    if (kind_ == ColumnKind::text)
        return !has_leading_zero(value) || !is_number(value);
    double number = 0;
    if (kind_ == ColumnKind::number) {
        if (!read_number(value, number) || has_leading_zero(value))
            return false;
        if (loses_digits(value) && inexact_++ == 0)
            first_inexact_ = reader.row();
        numbers_.add(number);
        return true;
    }
    MomentBuffer buffer;
    const Temporal unit = temporal_of(kind_);
    const auto moment = parse_iso(unit, with_t(value, buffer));
    if (moment)
        numbers_.add(in_unit(unit, stored_unit(unit), *moment));
    return moment.has_value();
}

void ColumnEvidence::decide(const DelimitedReader &reader, std::string_view value) {
    if (std::exchange(decided_, true))
        return;
    decider_ = excerpt(value);
    decider_row_ = reader.row();
    decider_line_ = reader.line();
}

void ColumnEvidence::add(const ColumnEvidence &later, const TextPlace &before) {
    kind_ = later.kind_;
    longest_bytes_ = std::max(longest_bytes_, later.longest_bytes_);
    if (inexact_ == 0)
        first_inexact_ = later.first_inexact_ + before.records;
    inexact_ += later.inexact_;
    numbers_.add(later.numbers_);
    if (decided_ || !later.decided_)
        return;
    decided_ = true;
    decider_ = later.decider_;
    decider_row_ = later.decider_row_ + before.records;
    decider_line_ = later.decider_line_ + before.line - 1;
}

Variable ColumnEvidence::variable(const std::string &name) const {
    Variable variable{name, {}, ValueKind::numeric, 8, format_of(kind()), {}};
    variable.stored = numbers_.smallest_type();
    if (kind() == ColumnKind::text) {
        variable.kind = ValueKind::character;
        variable.length = longest_bytes_ == 0 ? 1 : static_cast<int>(longest_bytes_);
        variable.stored = variable.length <= LONGEST_STRING_BYTES ? StoredType::text : StoredType::unknown;
    }
    return variable;
}

std::string ColumnEvidence::note(const std::string &name) const {
    constexpr const char *words[] = {"", "number", "date", "date-time", "time", "text"};
    const std::string value = fmt::format("\"{}\" in row {} (line {})", decider_, decider_row_, decider_line_);
    if (decided_ && is_number(decider_) && has_leading_zero(decider_))
        return fmt::format("Column {} is kept as text: {} would lose its zeros as a number.", name, value);
    if (decided_ && kind_ != ColumnKind::unknown && kind_ != ColumnKind::text)
        return fmt::format("Column {} is text because of {}, which is no {}.", name, value,
                           words[static_cast<size_t>(kind_)]);
    if (kind() != ColumnKind::number || inexact_ == 0)
        return {};
    return inexact_note(name, inexact_, first_inexact_);
}

// What all columns show in the records so far.
struct TypeEvidence {
    const std::vector<std::string> &names;
    const MissingTexts &missing;
    std::vector<ColumnEvidence> columns;
    int64_t rows = 0;
};

class TypeWork : public RecordWork {
  public:
    TypeWork(DelimitedText &text, Buffer bytes, TypeEvidence &found)
        : RecordWork(text, std::move(bytes)), found_(found), before_(following()) {}

  private:
    std::vector<ColumnEvidence> following() const {
        std::vector<ColumnEvidence> next;
        next.reserve(found_.columns.size());
        for (const ColumnEvidence &column : found_.columns)
            next.push_back(column.following());
        return next;
    }

    void read(DelimitedReader &reader) override {
        if (was_read_)
            before_ = following();
        was_read_ = true;
        columns_ = before_;
        rows_ = 0;
        while (reader.next()) {
            check_width(reader, columns_.size());
            const auto fields = reader.fields();
            for (size_t i = 0; i < fields.size(); ++i)
                columns_[i].add(reader, fields[i], i, found_.names[i], found_.missing);
            ++rows_;
        }
    }

    bool is_stale() const override {
        for (size_t i = 0; i < columns_.size(); ++i)
            if (!columns_[i].follows(found_.columns[i]))
                return true;
        return false;
    }

    void take(const TextPlace &before) override {
        for (size_t i = 0; i < columns_.size(); ++i)
            found_.columns[i].add(columns_[i], before);
        found_.rows += rows_;
    }

    TypeEvidence &found_;
    std::vector<ColumnEvidence> before_;
    std::vector<ColumnEvidence> columns_;
    int64_t rows_ = 0;
    bool was_read_ = false;
};

} // namespace

DataSet find_types(DelimitedText &text, const std::vector<std::string> &names, const MissingTexts &missing,
                   size_t threads, const Notes &note) {
    TypeEvidence found{.names = names, .missing = missing, .columns = std::vector<ColumnEvidence>(names.size())};
    OrderedWork work(threads, 2 * threads);
    bool first = true;
    for (Buffer piece; text.next(piece);) {
        work.submit(std::make_unique<TypeWork>(text, std::exchange(piece, {}), found));
        if (std::exchange(first, false)) // the others begin with what it shows
            work.finish();
    }
    work.finish();
    DataSet description;
    description.observations = found.rows;
    for (size_t i = 0; i < names.size(); ++i) {
        description.variables.push_back(found.columns[i].variable(names[i]));
        if (const std::string sentence = found.columns[i].note(names[i]); !sentence.empty())
            note(sentence);
    }
    return description;
}

} // namespace vor
