// Observations on their way through the host: some thousand at a time, a typed column for each variable. The layout is
// that of Apache Arrow, so that a batch leaves the program without a copy.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/missing.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace vor {

// Bytes that grow without being set, at an address fit for every number.
class Buffer {
  public:
    Buffer() = default;
    Buffer(Buffer &&other) noexcept { swap(other); }
    Buffer &operator=(Buffer &&other) noexcept {
        swap(other);
        return *this;
    }
    void swap(Buffer &other) noexcept {
        data_.swap(other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    char *data() { return data_.get(); }
    const char *data() const { return data_.get(); }
    size_t size() const { return size_; }
    size_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }

    // Keeps what is there; new bytes are not set.
    void resize(size_t bytes) {
        if (bytes > capacity_)
            grow(bytes);
        size_ = bytes;
    }
    void clear() { size_ = 0; }

    template <class T>
    T *as() {
        return reinterpret_cast<T *>(data_.get());
    }
    template <class T>
    const T *as() const {
        return reinterpret_cast<const T *>(data_.get());
    }

    // Room for one more T at the end.
    template <class T>
    void append(T value) {
        resize(size_ + sizeof value);
        std::memcpy(data_.get() + size_ - sizeof value, &value, sizeof value);
    }

  private:
    void grow(size_t bytes);

    std::unique_ptr<char[]> data_;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

// The values of one variable in a batch. Numbers stand in the unit of the variable (temporal.h). A missing one has a
// value that means nothing.
struct Column {
    StoredType type = StoredType::float64; // of the values here, which need not be the one that the file records
    size_t rows = 0;
    Buffer values;   // numbers, or the bytes of all texts
    Buffer offsets;  // of texts: rows + 1 int32_t; a text ends where the next begins
    Buffer validity; // a bit for each row, the lowest first; 0: missing. Empty: no value is missing
    Buffer marks;    // a byte for each row: '.', '_' or 'a' to 'z' for a missing value, else 0. Empty: "." for all
    Buffer binary;   // a bit for each row; 1: the text is bytes that are no text. Empty: no text is

    bool is_text() const { return type == StoredType::text || type == StoredType::long_text; }

    bool is_valid(size_t row) const { return validity.empty() || bit(validity, row); }

    // The mark of a missing value, 0 for one that is there.
    char mark(size_t row) const { return is_valid(row) ? '\0' : marks.empty() ? '.' : marks.data()[row]; }

    // The number, a missing one as in missing.h.
    double number(size_t row) const {
        const char missing = mark(row);
        return missing != 0 ? missing_value(missing) : stored_number(row);
    }

    // The text, UTF-8 unless is_binary.
    std::string_view text(size_t row) const {
        const int32_t *ends = offsets.as<int32_t>();
        return {values.data() + ends[row], static_cast<size_t>(ends[row + 1] - ends[row])};
    }
    bool is_binary(size_t row) const { return !binary.empty() && bit(binary, row); }

    // Empties the column, which keeps its memory.
    void start(StoredType values_type);

    // The next value of a column of doubles or of texts. The texts of a column hold less than 2^31 bytes.
    void append(double value); // a missing one as in missing.h
    void append_text(std::string_view text, bool is_binary = false);

  private:
    static bool bit(const Buffer &bits, size_t row) { return (bits.as<uint8_t>()[row / 8] >> (row % 8) & 1) != 0; }
    double stored_number(size_t row) const;
    void append_missing(char mark);
};

struct Batch {
    int64_t first_row = 0; // in the data set, from 0
    size_t rows = 0;
    std::vector<Column> columns; // one for each variable, of `rows` rows each

    // Columns for the variables, without rows: doubles and texts for those who append.
    void start(const std::vector<Variable> &variables, int64_t first);

    // Counts a row that every column has had its value of. True when the batch should go on its way: it has its rows,
    // or its texts are long.
    bool end_row(size_t most_rows);

  private:
    std::vector<size_t> texts_; // the columns of texts
};

// How many rows a batch of these variables has: as many as stay near the processor, at least one.
size_t batch_rows(const std::vector<Variable> &variables);

// Receives a data set: begin once, with a description that stays in its place, batches, finish once. What it makes
// appears only with finish; a sink destroyed before leaves nothing behind. Failures are ConversionErrors.
class BatchSink {
  public:
    virtual ~BatchSink() = default;
    virtual void begin(const DataSet &description) = 0;
    virtual void put(Batch &batch) = 0; // may take what is in it
    virtual void finish() = 0;
};

// Delivers a data set. The description's lengths hold for every batch that follows. Failures are ConversionErrors.
class BatchSource {
  public:
    virtual ~BatchSource() = default;
    virtual const DataSet &description() const = 0;

    // The next rows: at least one and at most `most_rows`; false at the end, with a batch of no rows.
    virtual bool next(Batch &batch, size_t most_rows) = 0;

    // Whether it may work on a thread of its own beside those who take its batches. One that drives the module may not:
    // others do so, too, and the module keeps to one thread.
    virtual bool works_beside_others() const { return true; }

    // Goes back to the first observation; false when that cannot be done.
    virtual bool rewind() { return false; }

    // Passes over observations. The number passed: fewer than asked for only at the end.
    virtual int64_t skip(int64_t rows);
};

} // namespace vor
