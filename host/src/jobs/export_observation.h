// The host observation of an export: the variables' values one after the other, and what is noticed about values that
// a Stata file cannot hold as they are.
#pragma once

#include "text/loss_counter.h"

#include <vorhost/batch.h>
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

// What happened to the values of each column.
class ExportLosses {
  public:
    explicit ExportLosses(size_t columns) : counts_(columns) {}

    // observation: from 1.
    void count(size_t column, ValueChange change, int64_t observation) {
        counts_[column][static_cast<size_t>(change)].add(observation);
    }

    // One sentence for each column and change that happened, with the count and the first observation.
    void report(const std::vector<Variable> &variables, const Notes &warn) const;

  private:
    std::vector<std::array<LossCounter, value_changes>> counts_;
};

// The observation of the base contract, filled value by value.
class ExportObservation {
  public:
    ExportObservation(const Host &host, std::vector<ExportColumn> columns);

    // The next observation, as the module takes it.
    const void *filled(const Batch &batch, size_t row);

    const ExportLosses &losses() const { return losses_; }

  private:
    void set_number(size_t column, double value);
    void set_text(size_t column, std::string_view text); // UTF-8
    double storable(size_t column, double value);
    std::string_view encode(size_t column, std::string_view &kept);
    void store(size_t column, std::string_view bytes);
    void count(size_t column, ValueChange change) { losses_.count(column, change, number_); }

    const Host &host_;
    bool utf8_session_; // text needs no encoding
    std::vector<ExportColumn> columns_;
    std::vector<char> observation_;
    std::string encoded_;
    ExportLosses losses_;
    int64_t number_ = 0; // of the observation, from 1
};

} // namespace vor
