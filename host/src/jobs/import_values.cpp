#include "jobs/import_values.h"

#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace vor {

ImportValues::ImportValues(AccessObject &object, const std::vector<Variable> &variables, std::vector<Wanted> wanted,
                           int64_t passed_over, BadTextNote note)
    : object_(object), variables_(variables), wanted_(std::move(wanted)), rows_(passed_over), passed_over_(passed_over),
      bad_texts_(wanted_.size()), note_(std::move(note)), told_(wanted_.size()) {}

bool ImportValues::next(Batch &batch, size_t most_rows) {
    batch.start(variables_, rows_ - passed_over_);
    const bool more = fill(batch, most_rows);
    rows_ += static_cast<int64_t>(batch.rows);
    return more;
}

std::string_view ImportValues::decoded(size_t column, std::string_view stored, int64_t observation) {
    if (is_ascii(stored)) // the same in every session encoding
        return stored;
    const auto [text, valid] = object_.host().decode(stored, decoded_);
    if (!valid && ++bad_texts_[column] == 1 && note_ && !told_[column]) {
        told_[column] = true;
        note_(column, observation);
    }
    return text;
}

namespace {

// One host observation after the other.
class ImportRows : public ImportValues {
  public:
    using ImportValues::ImportValues;

  private:
    bool fill(Batch &batch, size_t most_rows) override;
    void append_text(size_t index, int64_t observation, Column &values);

    void *observation_ = nullptr; // the module's, the same for all rows
    bool at_end_ = false;
};

bool ImportRows::fill(Batch &batch, size_t most_rows) {
    while (!at_end_) {
        const int32_t code = object_->getnextrow(object_.get(), &observation_);
        at_end_ = code == HOST_END_OF_DATA;
        if (at_end_)
            break;
        object_.check(code);
        for (size_t i = 0; i < wanted_.size(); ++i) {
            if (wanted_[i].variable->ntype != NAMESTR_NUMERIC) {
                append_text(i, rows_ + static_cast<int64_t>(batch.rows) + 1, batch.columns[i]);
                continue;
            }
            double value;
            std::memcpy(&value, static_cast<const char *>(observation_) + wanted_[i].variable->npos, sizeof value);
            batch.columns[i].append(value);
        }
        if (batch.end_row(most_rows))
            break;
    }
    return batch.rows != 0;
}

// Blanks at the end, which the module pads with, are not part of the text.
void ImportRows::append_text(size_t index, int64_t observation, Column &values) {
    const NAMESTR &variable = *wanted_[index].variable;
    const auto *bytes = static_cast<const char *>(observation_);
    const char *text = bytes + variable.npos;
    int32_t length = variable.nlng;
    if (variable.ntype == NAMESTR_VARYING_CHARACTER) {
        std::memcpy(&text, bytes + variable.npos, sizeof text);
        std::memcpy(&length, bytes + variable.nipos, sizeof length);
    }
    while (length > 0 && text[length - 1] == ' ')
        --length;
    values.append_text(decoded(index, {text, static_cast<size_t>(length)}, observation));
}

constexpr size_t long_texts_bytes = size_t{4} << 20; // of all columns of long texts together, to begin with
constexpr size_t least_text_room = 4096;

size_t number_bytes(StoredType type) {
    switch (type) {
    case StoredType::int8:
        return sizeof(int8_t);
    case StoredType::int16:
        return sizeof(int16_t);
    case StoredType::int32:
        return sizeof(int32_t);
    case StoredType::float32:
        return sizeof(float);
    default:
        return sizeof(double);
    }
}

// Columns that the module fills.
class ImportColumns : public ImportValues {
  public:
    ImportColumns(AccessObject &object, const vor_extension &extension, const std::vector<Variable> &variables,
                  std::vector<Wanted> wanted, int64_t passed_over, BadTextNote note);
    bool rewind() override;

  private:
    bool fill(Batch &batch, size_t most_rows) override;
    void lend(Column &column, size_t index, size_t rows);
    void grow_texts(Batch &batch);
    void take_back(Column &column, const vor_column &filled, size_t rows) const;
    void decode_texts(Column &column, size_t index);

    const vor_extension &extension_;
    std::vector<vor_column> columns_;
    size_t long_text_room_; // of each column of long texts
    int64_t from_ = NEXT_ROW;
};

ImportColumns::ImportColumns(AccessObject &object, const vor_extension &extension,
                             const std::vector<Variable> &variables, std::vector<Wanted> wanted, int64_t passed_over,
                             BadTextNote note)
    : ImportValues(object, variables, std::move(wanted), passed_over, std::move(note)), extension_(extension),
      columns_(variables.size()) {
    const auto long_texts = static_cast<size_t>(std::ranges::count_if(
        variables, [](const Variable &variable) { return variable.stored == StoredType::long_text; }));
    long_text_room_ = std::max(long_texts_bytes / std::max<size_t>(long_texts, 1), least_text_room);
}

bool ImportColumns::rewind() {
    rows_ = from_ = passed_over_;
    std::fill(bad_texts_.begin(), bad_texts_.end(), 0);
    return true;
}

bool ImportColumns::fill(Batch &batch, size_t most_rows) {
    for (size_t i = 0; i < columns_.size(); ++i)
        lend(batch.columns[i], i, most_rows);
    vor_batch request = {.first_row = std::exchange(from_, NEXT_ROW),
                         .row_limit = static_cast<int64_t>(most_rows),
                         .rows = 0,
                         .column_count = static_cast<int64_t>(columns_.size()),
                         .columns = columns_.data()};
    object_.host().make_current();
    int32_t code;
    while ((code = extension_.getcolumns(object_.get(), &request)) == HOST_NO_MEMORY)
        grow_texts(batch);
    if (code != HOST_END_OF_DATA)
        object_.check(code);
    batch.rows = static_cast<size_t>(request.rows);
    for (size_t i = 0; i < columns_.size(); ++i)
        take_back(batch.columns[i], columns_[i], batch.rows);
    for (size_t i = 0; i < columns_.size(); ++i)
        if (batch.columns[i].is_text())
            decode_texts(batch.columns[i], i);
    return batch.rows != 0;
}

void ImportColumns::lend(Column &column, size_t index, size_t rows) {
    const Variable &variable = variables_[index];
    column.start(variable.stored);
    vor_column &lent = columns_[index];
    lent = {};
    lent.variable = wanted_[index].number;
    if (!column.is_text()) {
        column.values.resize(rows * number_bytes(variable.stored));
        column.validity.resize((rows + 7) / 8);
        column.marks.resize(rows);
        lent.values = column.values.data();
        lent.validity = column.validity.as<uint8_t>();
        lent.marks = column.marks.as<uint8_t>();
        return;
    }
    const bool is_long = variable.stored == StoredType::long_text;
    column.offsets.resize((rows + 1) * sizeof(int32_t));
    column.values.resize(is_long ? long_text_room_ : rows * static_cast<size_t>(variable.length));
    if (is_long)
        column.binary.resize((rows + 7) / 8);
    lent.offsets = column.offsets.data();
    lent.offset_bytes = sizeof(int32_t);
    lent.bytes = column.values.data();
    lent.room_bytes = static_cast<int64_t>(column.values.size());
    lent.binary = is_long ? column.binary.as<uint8_t>() : nullptr;
}

// Not even the next observation's texts found room.
void ImportColumns::grow_texts(Batch &batch) {
    bool grown = false;
    for (size_t i = 0; i < columns_.size(); ++i) {
        vor_column &lent = columns_[i];
        if (lent.needed_bytes <= lent.room_bytes)
            continue;
        batch.columns[i].values.resize(static_cast<size_t>(lent.needed_bytes));
        lent.bytes = batch.columns[i].values.data();
        lent.room_bytes = lent.needed_bytes;
        grown = true;
    }
    if (!grown)
        object_.fail(HOST_NO_MEMORY);
}

void ImportColumns::take_back(Column &column, const vor_column &filled, size_t rows) const {
    column.rows = rows;
    if (column.is_text()) {
        column.offsets.resize((rows + 1) * sizeof(int32_t));
        column.values.resize(static_cast<size_t>(column.offsets.as<int32_t>()[rows]));
        column.binary.resize(filled.has_binary != 0 ? (rows + 7) / 8 : 0);
        return;
    }
    column.values.resize(rows * number_bytes(column.type));
    column.validity.resize(filled.null_count != 0 ? (rows + 7) / 8 : 0);
    column.marks.resize(filled.has_marks != 0 ? rows : 0);
}

// Whether the texts of a column are UTF-8, each for itself.
bool are_utf8(const Column &column) {
    if (!column.binary.empty() || !is_utf8({column.values.data(), column.values.size()}))
        return false;
    const auto *ends = column.offsets.as<int32_t>();
    return std::all_of(ends, ends + column.rows, [&column](int32_t start) {
        constexpr unsigned tail_bits = 0xC0, tail = 0x80;
        return static_cast<size_t>(start) == column.values.size() ||
               (static_cast<unsigned char>(column.values.data()[start]) & tail_bits) != tail;
    });
}

void ImportColumns::decode_texts(Column &column, size_t index) {
    if (is_ascii({column.values.data(), column.values.size()}) ||
        (lower_case(object_.host().options().session_encoding) == "utf-8" && are_utf8(column)))
        return;
    Column utf8;
    utf8.start(column.type);
    for (size_t row = 0; row < column.rows; ++row) {
        const std::string_view text = column.text(row);
        const bool binary = column.is_binary(row);
        utf8.append_text(binary ? text : decoded(index, text, rows_ + static_cast<int64_t>(row) + 1), binary);
    }
    std::swap(column, utf8);
}

} // namespace

std::unique_ptr<ImportValues> import_values(AccessObject &object, const vor_extension *extension,
                                            const std::vector<Variable> &variables,
                                            std::vector<ImportValues::Wanted> wanted, int64_t passed_over,
                                            const ImportValues::BadTextNote &note) {
    if (!extension)
        return std::make_unique<ImportRows>(object, variables, std::move(wanted), passed_over, note);
    if (!extension->getcolumns)
        throw ConversionError(Failure::machine, "The module is older than this host: it has no getcolumns.");
    return std::make_unique<ImportColumns>(object, *extension, variables, std::move(wanted), passed_over, note);
}

} // namespace vor
