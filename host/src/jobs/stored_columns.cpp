#include "jobs/stored_columns.h"

#include "jobs/file_facts.h"

#include <vorhost/missing.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <type_traits>

namespace vor {
namespace {

// Whether a type holds a number. One of integers holds the one below its range, too, and no negative zero.
template <class Stored>
bool holds(double number) {
    if constexpr (std::is_integral_v<Stored>) {
        const bool in_range = number >= -double{HIGHEST<Stored>} - 1 && number <= double{LARGEST_NUMBER<Stored>};
        const double tried = in_range ? number : 0.5;
        return static_cast<double>(static_cast<int32_t>(tried)) == tried && std::bit_cast<int64_t>(number) != INT64_MIN;
    } else if constexpr (std::is_same_v<Stored, float>) {
        return std::fabs(number) < double{stored_missing<float>(0)} &&
               static_cast<double>(static_cast<float>(number)) == number;
    } else {
        return number < LEAST_MISSING_DOUBLE && number > -std::numeric_limits<double>::infinity();
    }
}

// Calls `with` with a value of the C++ type of a stored number.
template <class Action>
auto with_type(StoredType type, Action with) {
    switch (type) {
    case StoredType::int8:
        return with(int8_t{});
    case StoredType::int16:
        return with(int16_t{});
    case StoredType::int32:
        return with(int32_t{});
    case StoredType::float32:
        return with(float{});
    default:
        return with(double{});
    }
}

// Whether all numbers of a column can be stored as they are. Without a branch, for the sake of the vector unit.
template <class Given, class Stored>
bool holds_all(const Column &column) {
    const Given *values = column.values.as<Given>();
    bool all = true;
    if (column.validity.empty()) {
        for (size_t row = 0; row < column.rows; ++row)
            all &= holds<Stored>(static_cast<double>(values[row]));
        return all;
    }
    const uint8_t *valid = column.validity.as<uint8_t>();
    for (size_t row = 0; row < column.rows; ++row)
        all &= holds<Stored>(static_cast<double>(values[row])) || (valid[row / 8] >> (row % 8) & 1) == 0;
    return all;
}

bool stands_as_it_is(const Column &column, StoredType stored) {
    if (!column.marks.empty() && std::memchr(column.marks.data(), '_', column.rows))
        return false;
    return with_type(column.type, [&](auto given) {
        return with_type(stored, [&](auto wanted) { return holds_all<decltype(given), decltype(wanted)>(column); });
    });
}

// The column in the module's words. It does not write into what it takes.
vor_column lent(const Column &column, size_t variable) {
    Column &buffers = const_cast<Column &>(column);
    const auto bits = [](Buffer &buffer) { return buffer.empty() ? nullptr : buffer.as<uint8_t>(); };
    return {.variable = static_cast<int32_t>(variable),
            .type = stored_code(column.type),
            .values = buffers.values.data(),
            .offsets = buffers.offsets.data(),
            .bytes = buffers.values.data(),
            .room_bytes = static_cast<int64_t>(column.values.size()),
            .needed_bytes = 0,
            .validity = bits(buffers.validity),
            .marks = bits(buffers.marks),
            .binary = bits(buffers.binary),
            .null_count = 0,
            .offset_bytes = sizeof(int32_t),
            .has_marks = column.marks.empty() ? 0 : 1,
            .has_binary = column.binary.empty() ? 0 : 1,
            .free = 0};
}

} // namespace

StoredColumns::StoredColumns(const std::vector<Variable> &written, const std::vector<Variable> &source)
    : rewritten_(written.size()), losses_(written.size()) {
    for (size_t i = 0; i < written.size(); ++i)
        places_.push_back({written[i].name, temporal_class(source[i]), temporal_class(written[i]), written[i].stored,
                           static_cast<size_t>(written[i].length)});
}

vor_batch *StoredColumns::taken(const Batch &batch) {
    columns_.clear();
    for (size_t i = 0; i < batch.columns.size(); ++i)
        columns_.push_back(lent(stored(i, batch.columns[i]), i));
    rows_before_ += static_cast<int64_t>(batch.rows);
    batch_ = {.first_row = 0,
              .row_limit = 0,
              .rows = static_cast<int64_t>(batch.rows),
              .column_count = static_cast<int64_t>(columns_.size()),
              .columns = columns_.data()};
    return &batch_;
}

// The column itself, or what is written in its place.
const Column &StoredColumns::stored(size_t column, const Column &given) {
    const Place &place = places_[column];
    if (given.is_text()) {
        check_texts(column, given);
        return given;
    }
    const bool same_unit = place.from == place.to || place.to == Temporal::none;
    if (same_unit && stands_as_it_is(given, place.stored))
        return given;
    Column &rewritten = rewritten_[column];
    rewritten.start(StoredType::float64);
    for (size_t row = 0; row < given.rows; ++row)
        rewritten.append(storable(column, given.number(row), observation(row)));
    return rewritten;
}

// A number, or a missing value, in the unit of the file.
double StoredColumns::storable(size_t column, double value, int64_t observation) {
    if (is_missing(value)) {
        if (missing_mark(value) == '_')
            losses_.count(column, ValueChange::mark_unknown, observation);
        return value;
    }
    const Place &place = places_[column];
    const double number = in_unit(place.from, place.to, value);
    if (is_missing(number))
        return number;
    const bool finite = std::isfinite(number);
    if (!finite || number >= LEAST_MISSING_DOUBLE) {
        losses_.count(column, finite ? ValueChange::too_large : ValueChange::not_a_number, observation);
        return missing_value('.');
    }
    if (!with_type(place.stored, [number](auto wanted) { return holds<decltype(wanted)>(number); }))
        refuse(column, observation);
    return number;
}

void StoredColumns::check_texts(size_t column, const Column &texts) {
    const Place &place = places_[column];
    if (place.stored != StoredType::text)
        return;
    for (size_t row = 0; row < texts.rows; ++row)
        if (texts.text(row).size() > place.length || texts.is_binary(row))
            refuse(column, observation(row));
    if (texts.values.empty() || !std::memchr(texts.values.data(), '\0', texts.values.size()))
        return;
    for (size_t row = 0; row < texts.rows; ++row)
        if (texts.text(row).find('\0') != std::string_view::npos)
            losses_.count(column, ValueChange::zero_byte, observation(row));
}

void StoredColumns::refuse(size_t column, int64_t observation) const {
    throw Misfit(Failure::conversion, fmt::format("The value of {} at obs {} does not fit the type it is to be stored "
                                                  "in.",
                                                  places_[column].name, observation));
}

} // namespace vor
