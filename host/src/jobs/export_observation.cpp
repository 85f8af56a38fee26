#include "jobs/export_observation.h"

#include "text/utf8.h"

#include <vor/stata_layout.h>
#include <vorhost/ascii.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>

namespace vor {
namespace {

constexpr std::array<const char *, value_changes> change_sentences = {
    "longer than the variable can hold (2045 bytes at most), cut",
    "ending in tabs or line ends, which a Stata file does not keep",
    "with zero bytes, of which readers take the first one for the end of the text",
    "of bytes that are no text, written as if they were",
    "with characters that the session encoding does not have, written as '?'",
    "infinite or not a number, written as missing",
    "beyond what a Stata file can hold, written as missing",
    "with the mark ._, which a Stata file does not have, written as the standard missing value",
    "beyond 2^53, where a double does not hold every integer",
    "with a fraction of a day, cut to the whole day",
    "without a counterpart in the unit that is written, written as missing",
};

constexpr double first_day = SMALLEST_LONG; // of a stored date
constexpr double last_day = LARGEST_LONG;
constexpr double largest_exact_integer = 0x1p53;

size_t observation_bytes(const std::vector<ExportColumn> &columns) {
    return columns.empty() ? 0 : static_cast<size_t>(columns.back().position + columns.back().length);
}

// Whether more than blanks stands at the end that the writer drops.
bool loses_tail(std::string_view text) {
    const size_t last = text.find_last_not_of(" \t\n\r");
    return text.substr(last == std::string_view::npos ? 0 : last + 1).find_first_not_of(' ') != std::string_view::npos;
}

} // namespace

ExportObservation::ExportObservation(const Host &host, std::vector<ExportColumn> columns)
    : host_(host), utf8_session_(lower_case(host.options().session_encoding) == "utf-8"), columns_(std::move(columns)),
      observation_(observation_bytes(columns_)), losses_(columns_.size()) {}

const void *ExportObservation::filled(const Batch &batch, size_t row) {
    ++number_;
    for (size_t i = 0; i < batch.columns.size(); ++i) {
        const Column &column = batch.columns[i];
        if (!column.is_text()) {
            set_number(i, column.number(row));
            continue;
        }
        if (column.is_binary(row))
            count(i, ValueChange::binary);
        set_text(i, column.text(row));
    }
    return observation_.data();
}

double ExportObservation::storable(size_t column, double value) {
    if (is_missing(value)) {
        if (missing_mark(value) == '_')
            count(column, ValueChange::mark_unknown);
        return value;
    }
    if (!std::isfinite(value)) {
        count(column, ValueChange::not_a_number);
        return missing_value('.');
    }
    const bool date = columns_[column].temporal == Temporal::date;
    const bool too_large =
        date ? value < first_day || value >= last_day + 1 : value >= LEAST_MISSING_DOUBLE || value == MISSING_SENTINEL;
    if (too_large) {
        count(column, ValueChange::too_large);
        return missing_value('.');
    }
    if (date && value != std::trunc(value))
        count(column, ValueChange::day_fraction);
    if (std::fabs(value) > largest_exact_integer && std::fabs(value) < 0x1p64)
        count(column, ValueChange::inexact);
    return value;
}

void ExportObservation::set_number(size_t column, double value) {
    const ExportColumn &place = columns_[column];
    const double number = in_unit(place.given, place.temporal, value);
    if (is_missing(number) && !is_missing(value))
        count(column, ValueChange::no_counterpart);
    const double stored = storable(column, number);
    std::memcpy(observation_.data() + place.position, &stored, sizeof stored);
}

void ExportObservation::set_text(size_t column, std::string_view text) {
    std::string_view kept = whole_characters(text, static_cast<size_t>(columns_[column].length));
    const std::string_view stored = utf8_session_ ? kept : encode(column, kept);
    if (kept.size() < text.size())
        count(column, ValueChange::text_cut);
    if (!kept.empty() && static_cast<uint8_t>(kept.back()) <= ' ' && loses_tail(kept))
        count(column, ValueChange::tail_dropped);
    if (kept.find('\0') != std::string_view::npos)
        count(column, ValueChange::zero_byte);
    store(column, stored);
}

// In the session encoding a text may be longer than in UTF-8: then as many characters are kept as have room.
std::string_view ExportObservation::encode(size_t column, std::string_view &kept) {
    int replaced = 0;
    encoded_ = host_.encode(kept, &replaced);
    if (replaced > 0)
        count(column, ValueChange::not_in_session);
    while (encoded_.size() > static_cast<size_t>(columns_[column].length)) {
        kept = whole_characters(kept, kept.size() - 1);
        encoded_ = host_.encode(kept);
    }
    return encoded_;
}

void ExportObservation::store(size_t column, std::string_view bytes) {
    char *target = observation_.data() + columns_[column].position;
    char *end = std::copy(bytes.begin(), bytes.end(), target); // an empty text may have no address
    std::fill(end, target + columns_[column].length, ' ');
}

void ExportLosses::report(const std::vector<Variable> &variables, const Notes &warn) const {
    for (size_t column = 0; column < counts_.size(); ++column)
        for (size_t change = 0; change < value_changes; ++change)
            if (const LossCounter &counter = counts_[column][change])
                warn(fmt::format("variable {}: {}.", variables[column].name,
                                 counter.sentence(change_sentences[change])));
}

} // namespace vor
