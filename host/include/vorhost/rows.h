// Observations on their way: rows that come out of an import, rows that go into an export.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/missing.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

namespace vor {

// Receives what a reader noticed and the user should know, one sentence at a time. May be empty.
using Notes = std::function<void(const std::string &sentence)>;

// One observation. Valid until the next one is asked for.
class Row {
  public:
    virtual ~Row() = default;

    // The number in a numeric column, the standard missing value in a character column; missing values as in missing.h.
    // Not virtual: conversions spend their time here.
    double number(size_t column) const {
        double value = missing_value('.');
        if (positions_[column] >= 0)
            std::memcpy(&value, values_ + positions_[column], sizeof value);
        return value;
    }

    // The text in a character column: UTF-8, under the base contract without trailing blanks.
    virtual std::string_view text(size_t column) const = 0;

    // Whether text(column) is no text but bytes.
    virtual bool is_binary(size_t /*column*/) const { return false; }

  protected:
    // For those who deliver rows. positions: per column, the byte offset of its number, negative where it has none;
    // lasts as long as the row.
    void set_positions(const int64_t *positions) { positions_ = positions; }
    void set_values(const void *values) { values_ = static_cast<const char *>(values); }
    const char *values() const { return values_; }

  private:
    const char *values_ = nullptr;
    const int64_t *positions_ = nullptr;
};

// Receives a data set: begin once, with a description that stays in its place, row for each observation, finish once.
// What it makes appears only with finish; a sink destroyed before leaves nothing behind. Failures are ConversionErrors.
class RowSink {
  public:
    virtual ~RowSink() = default;
    virtual void begin(const DataSet &description) = 0;
    virtual void row(const Row &row) = 0;
    virtual void finish() = 0;
};

// Fills one observation of an export. Columns that are not set are missing or empty.
class RowWriter {
  public:
    virtual ~RowWriter() = default;
    virtual void set_number(size_t column, double value) = 0;

    // UTF-8; longer text than the column's length is cut at a character and counted.
    virtual void set_text(size_t column, std::string_view text) = 0;

    // Bytes that are no text; only long texts hold them.
    virtual void set_bytes(size_t column, std::string_view bytes) { set_text(column, bytes); }
};

// Delivers a data set. The description's lengths hold for every row that follows. Failures are ConversionErrors.
class RowSource {
  public:
    virtual ~RowSource() = default;
    virtual const DataSet &description() const = 0;
    virtual bool next(RowWriter &row) = 0; // false at the end, with nothing set

    // Goes back to the first observation; false when that cannot be done.
    virtual bool rewind() { return false; }

    // Passes over observations. The number passed: fewer than asked for only at the end.
    virtual int64_t skip(int64_t rows);
};

} // namespace vor
