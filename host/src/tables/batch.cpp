// Columns that are filled value by value, and how many rows make a batch.
#include <vorhost/batch.h>
#include <vorhost/error.h>

#include <algorithm>

namespace vor {
namespace {

constexpr size_t batch_bytes = size_t{1} << 20;
constexpr size_t most_batch_rows = 8192;
constexpr size_t longest_texts = size_t{4} << 20; // of one column, after which a batch goes on its way

template <class T>
double value_at(const Column &column, size_t row) {
    return static_cast<double>(column.values.as<T>()[row]);
}

// One more bit. The first `rows` bits of an empty buffer are all `before`.
void append_bit(Buffer &bits, size_t rows, bool before, bool value) {
    const size_t had = bits.size();
    bits.resize(rows / 8 + 1);
    if (had < bits.size())
        std::memset(bits.data() + had, before ? 0xFF : 0, bits.size() - had);
    uint8_t &byte = bits.as<uint8_t>()[rows / 8];
    const auto mask = static_cast<uint8_t>(1U << (rows % 8));
    byte = static_cast<uint8_t>(value ? byte | mask : byte & ~mask);
}

size_t row_bytes(const std::vector<Variable> &variables) {
    size_t bytes = 0;
    for (const Variable &variable : variables)
        bytes += variable.kind == ValueKind::character && variable.stored != StoredType::long_text
                     ? static_cast<size_t>(std::max(variable.length, 1)) + sizeof(int32_t)
                     : sizeof(double);
    return bytes;
}

} // namespace

void Buffer::grow(size_t bytes) {
    const size_t capacity = std::max({bytes, capacity_ * 2, size_t{16}});
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (size_ != 0)
        std::memcpy(larger.get(), data_.get(), size_);
    data_ = std::move(larger);
    capacity_ = capacity;
}

double Column::stored_number(size_t row) const {
    switch (type) {
    case StoredType::int8:
        return value_at<int8_t>(*this, row);
    case StoredType::int16:
        return value_at<int16_t>(*this, row);
    case StoredType::int32:
        return value_at<int32_t>(*this, row);
    case StoredType::float32:
        return value_at<float>(*this, row);
    default:
        return value_at<double>(*this, row);
    }
}

void Column::start(StoredType values_type) {
    type = values_type;
    rows = 0;
    for (Buffer *buffer : {&values, &offsets, &validity, &marks, &binary})
        buffer->clear();
    if (is_text())
        offsets.append<int32_t>(0);
}

void Column::append(double value) {
    if (const char missing = missing_mark(value))
        append_missing(missing == '.' || missing == '_' ? missing : static_cast<char>(missing - 'A' + 'a'));
    else if (!validity.empty())
        append_bit(validity, rows, true, true);
    if (!marks.empty() && marks.size() == rows)
        marks.append<char>(0);
    values.append(value);
    ++rows;
}

void Column::append_missing(char mark) {
    append_bit(validity, rows, true, false);
    if (mark == '.' && marks.empty())
        return;
    if (marks.empty())
        for (size_t row = 0; row < rows; ++row)
            marks.append<char>(is_valid(row) ? '\0' : '.');
    marks.append<char>(mark);
}

void Column::append_text(std::string_view text, bool is_binary) {
    const size_t start = values.size();
    if (text.size() > static_cast<size_t>(INT32_MAX) - start)
        throw ConversionError(Failure::conversion, "A batch has no room for texts of more than 2147483647 bytes.");
    values.resize(start + text.size());
    if (!text.empty())
        std::memcpy(values.data() + start, text.data(), text.size());
    offsets.append(static_cast<int32_t>(values.size()));
    if (is_binary || !binary.empty())
        append_bit(binary, rows, false, is_binary);
    ++rows;
}

void Batch::start(const std::vector<Variable> &variables, int64_t first) {
    first_row = first;
    rows = 0;
    texts_.clear();
    columns.resize(variables.size());
    for (size_t i = 0; i < variables.size(); ++i) {
        const bool is_text = variables[i].kind == ValueKind::character;
        columns[i].start(is_text ? StoredType::text : StoredType::float64);
        if (is_text)
            texts_.push_back(i);
    }
}

bool Batch::end_row(size_t most_rows) {
    ++rows;
    return rows >= most_rows || std::any_of(texts_.begin(), texts_.end(), [this](size_t column) {
               return columns[column].values.size() > longest_texts;
           });
}

int64_t BatchSource::skip(int64_t rows) {
    const auto most = static_cast<int64_t>(batch_rows(description().variables));
    Batch batch;
    int64_t passed = 0;
    while (passed < rows && next(batch, static_cast<size_t>(std::min(most, rows - passed))))
        passed += static_cast<int64_t>(batch.rows);
    return passed;
}

size_t batch_rows(const std::vector<Variable> &variables) {
    return std::clamp<size_t>(batch_bytes / std::max<size_t>(row_bytes(variables), 1), 1, most_batch_rows);
}

} // namespace vor
