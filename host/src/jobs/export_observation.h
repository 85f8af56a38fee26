// The host observation of an export: the variables' values one after the other, and what is noticed about values that
// a Stata file cannot hold as they are.
#pragma once

#include "text/loss_counter.h"

#include <vorhost/host.h>
#include <vorhost/log.h>
#include <vorhost/temporal.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vor {

// How a column stands in the observation.
struct ExportColumn {
    ValueKind kind = ValueKind::numeric;
    Temporal given = Temporal::none;    // the unit of the numbers that come
    Temporal temporal = Temporal::none; // the one that the module takes
    int32_t length = 8;                 // bytes
    int64_t position = 0;               // byte offset in the observation
};

// What may happen to a value on its way.
enum class ValueChange {
    text_cut,       // longer than the column or than a Stata string
    tail_dropped,   // line ends or tabs at the end, which are taken for blanks
    zero_byte,      // a text ends at a zero byte for its readers
    binary,         // bytes that are no text
    not_in_session, // characters that the session encoding does not have
    not_a_number,   // infinities and not-a-number
    too_large,      // beyond the largest number, or a date beyond the calendar
    mark_unknown,   // the missing value ._
    inexact,        // an integer beyond 2^53
    day_fraction,   // a date with a fraction of a day
    no_counterpart, // a moment that the unit of the file does not have
};
inline constexpr size_t value_changes = 11;

// A number in another unit; missing when that has no such moment. Where values have no unit they stay plain numbers.
double in_unit(Temporal from, Temporal to, double value);

// The observation being filled, as the module takes it.
class ExportRow {
  public:
    explicit ExportRow(size_t columns) : counts_(columns) {}
    virtual ~ExportRow() = default;

    virtual void set_number(size_t column, double value) = 0;
    virtual void set_text(size_t column, std::string_view text) = 0;   // UTF-8
    virtual void set_bytes(size_t column, std::string_view bytes) = 0; // that are no text

    virtual const void *bytes() = 0;

    // Makes every value missing or empty, for the next observation.
    virtual void clear() { ++number_; }

    // One sentence for each column and change that happened, with the count and the first observation.
    void report(const std::vector<Variable> &variables, const Notes &warn) const;

  protected:
    int64_t number() const { return number_; } // of the observation, from 1
    void count(size_t column, ValueChange change) { counts_[column][static_cast<size_t>(change)].add(number_); }

  private:
    std::vector<std::array<LossCounter, value_changes>> counts_;
    int64_t number_ = 1;
};

class ExportObservation : public ExportRow {
  public:
    ExportObservation(const Host &host, std::vector<ExportColumn> columns);

    void set_number(size_t column, double value) override;
    void set_text(size_t column, std::string_view text) override;
    void set_bytes(size_t column, std::string_view bytes) override;

    const void *bytes() override { return observation_.data(); }
    void clear() override;

  private:
    double storable(size_t column, double value);
    std::string_view encode(size_t column, std::string_view &kept);
    void store(size_t column, std::string_view bytes);

    const Host &host_;
    bool utf8_session_; // text needs no encoding
    std::vector<ExportColumn> columns_;
    std::vector<char> observation_;
    std::vector<char> empty_; // an observation with every value missing or empty
    std::string encoded_;
};

} // namespace vor
