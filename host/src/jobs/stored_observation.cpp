#include "jobs/stored_observation.h"

#include <vor/extension.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <limits>

namespace vor {
namespace {

// The unit of a variable whose display format is still to be chosen.
Temporal stored_unit(const Variable &variable) {
    const Temporal unit = temporal_class(variable);
    return unit == Temporal::date_time ? Temporal::clock : unit == Temporal::time ? Temporal::time_of_day : unit;
}

// The numbers that a type holds beside its missing values. An integer type holds no negative zero.
struct IntegerType {
    StoredType type;
    double smallest;
    double largest;
};
constexpr IntegerType integer_types[] = {
    {StoredType::int8, SMALLEST_NUMBER<int8_t>, LARGEST_NUMBER<int8_t>},
    {StoredType::int16, SMALLEST_NUMBER<int16_t>, LARGEST_NUMBER<int16_t>},
    {StoredType::int32, SMALLEST_NUMBER<int32_t>, LARGEST_NUMBER<int32_t>},
};

// Whether a number, or a missing value, can be stored so.
bool holds(StoredType type, double value) {
    if (is_missing(value))
        return true;
    if (type == StoredType::float32)
        return std::fabs(value) < stored_missing<float>(0) && static_cast<double>(static_cast<float>(value)) == value;
    for (const IntegerType &row : integer_types)
        if (row.type == type)
            return value >= row.smallest - 1 && value <= row.largest && value == std::trunc(value) &&
                   !(value == 0 && std::signbit(value));
    return true;
}

// What the values of a column are like.
struct Evidence {
    double smallest = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();
    bool whole = true;       // every number is an integer
    bool exact_float = true; // every number is exactly a float
    bool binary = false;
    size_t longest_text = 0;

    void add(double value) {
        if (is_missing(value) || !std::isfinite(value) || value >= LEAST_MISSING_DOUBLE)
            return; // stored as missing
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
        whole = whole && value == std::trunc(value) && !(value == 0 && std::signbit(value));
        exact_float = exact_float && std::fabs(value) < stored_missing<float>(0) &&
                      static_cast<double>(static_cast<float>(value)) == value;
    }

    bool fits(StoredType type) const {
        for (const IntegerType &row : integer_types)
            if (row.type == type) {
                // A file may hold the one integer below the range, too.
                const bool in_range = smallest >= row.smallest - 1 && largest <= row.largest;
                return smallest > largest || (whole && in_range);
            }
        return type == StoredType::float64 || (type == StoredType::float32 && exact_float);
    }

    StoredType smallest_number() const {
        for (const IntegerType &row : integer_types)
            if (smallest > largest || (whole && smallest >= row.smallest && largest <= row.largest))
                return row.type;
        return exact_float ? StoredType::float32 : StoredType::float64;
    }
};

// The same of all rows of a batch. from: the unit of its numbers, to: the one that is stored.
void add_column(Evidence &evidence, const Column &column, Temporal from, Temporal to) {
    for (size_t row = 0; row < column.rows; ++row)
        if (column.is_text()) {
            evidence.longest_text = std::max(evidence.longest_text, column.text(row).size());
            evidence.binary = evidence.binary || column.is_binary(row);
        } else {
            evidence.add(in_unit(from, to, column.number(row)));
        }
}

std::vector<Evidence> evidence_of(BatchSource &source) {
    const std::vector<Variable> &variables = source.description().variables;
    std::vector<Evidence> evidence(variables.size());
    const size_t most = batch_rows(variables);
    for (Batch batch; source.next(batch, most);)
        for (size_t i = 0; i < variables.size(); ++i)
            add_column(evidence[i], batch.columns[i], temporal_class(variables[i]), stored_unit(variables[i]));
    return evidence;
}

void choose_text(Variable &variable, const Evidence &evidence, bool keep, const Notes &note) {
    const bool recorded = keep && variable.stored != StoredType::unknown;
    if (recorded && variable.stored == StoredType::long_text)
        return;
    if (recorded && !evidence.binary && evidence.longest_text <= static_cast<size_t>(variable.length))
        return;
    const std::string old = stored_type_text(variable);
    const bool fits = !evidence.binary && evidence.longest_text <= LONGEST_STRING_BYTES;
    variable.stored = fits ? StoredType::text : StoredType::long_text;
    variable.length = fits ? static_cast<int>(std::max<size_t>(evidence.longest_text, 1)) : 8;
    if (recorded)
        note(fmt::format("variable {}: its values do not fit {}; it is written as {}.", variable.name, old,
                         stored_type_text(variable)));
}

void choose_number(Variable &variable, const Evidence &evidence, StoredTypes types, const Notes &note) {
    if (types == StoredTypes::double_width) {
        variable.stored = StoredType::float64;
        return;
    }
    const bool recorded = types == StoredTypes::kept && variable.stored != StoredType::unknown;
    if (recorded && evidence.fits(variable.stored))
        return;
    const std::string old = stored_type_text(variable);
    variable.stored = evidence.smallest_number();
    if (recorded)
        note(fmt::format("variable {}: its values do not fit {}; it is written as {}.", variable.name, old,
                         stored_type_text(variable)));
}

} // namespace

DataSet with_stored_types(BatchSource &source, StoredTypes types, const Notes &note) {
    DataSet description = source.description();
    if (!source.rewind()) {
        for (Variable &variable : description.variables)
            if (types == StoredTypes::double_width && variable.kind == ValueKind::numeric)
                variable.stored = StoredType::float64;
        return description;
    }
    const std::vector<Evidence> evidence = evidence_of(source);
    source.rewind();
    for (size_t column = 0; column < description.variables.size(); ++column) {
        Variable &variable = description.variables[column];
        if (variable.kind == ValueKind::character)
            choose_text(variable, evidence[column], types != StoredTypes::smallest, note);
        else
            choose_number(variable, evidence[column], types, note);
    }
    return description;
}

StoredObservation::StoredObservation(const std::vector<Variable> &written, const std::vector<Variable> &source)
    : ExportRow(written.size()), texts_(written.size()) {
    size_t position = 0;
    for (size_t column = 0; column < written.size(); ++column) {
        const Variable &variable = written[column];
        columns_.push_back({temporal_class(source[column]), temporal_class(variable), variable.stored,
                            variable.stored < StoredType::float64, static_cast<size_t>(variable.length), position});
        names_.push_back(variable.name);
        position += variable.kind == ValueKind::character ? sizeof(vor_text_slot) : sizeof(double);
    }
    observation_.resize(position);
    for (size_t column = 0; column < written.size(); ++column)
        if (written[column].kind == ValueKind::numeric)
            set_number(column, missing_value('.'));
}

void StoredObservation::set_number(size_t column, double value) {
    const Column &place = columns_[column];
    double stored = in_unit(place.from, place.to, value);
    if (is_missing(value) && missing_mark(value) == '_')
        count(column, ValueChange::mark_unknown);
    if (!is_missing(value) && !std::isfinite(value)) {
        count(column, ValueChange::not_a_number);
        stored = missing_value('.');
    } else if (!is_missing(value) && stored >= LEAST_MISSING_DOUBLE) {
        count(column, ValueChange::too_large);
        stored = missing_value('.');
    }
    if (place.checked && !holds(place.stored, stored))
        refuse(column);
    std::memcpy(observation_.data() + place.position, &stored, sizeof stored);
}

void StoredObservation::refuse(size_t column) const {
    throw Misfit(Failure::conversion, fmt::format("The value of {} at obs {} does not fit the type it is to be stored "
                                                  "in.",
                                                  names_[column], number()));
}

void StoredObservation::set_text(size_t column, std::string_view text) {
    if (columns_[column].stored == StoredType::text && text.find('\0') != std::string_view::npos)
        count(column, ValueChange::zero_byte);
    store_text(column, text, false);
}

void StoredObservation::set_bytes(size_t column, std::string_view bytes) {
    store_text(column, bytes, true);
}

void StoredObservation::store_text(size_t column, std::string_view text, bool binary) {
    if (columns_[column].stored == StoredType::text && (binary || text.size() > columns_[column].length))
        refuse(column);
    texts_[column].assign(text);
    const vor_text_slot slot = {.bytes = texts_[column].data(),
                                .length = static_cast<int32_t>(texts_[column].size()),
                                .binary = binary ? 1 : 0};
    std::memcpy(observation_.data() + columns_[column].position, &slot, sizeof slot);
}

const void *StoredObservation::bytes() {
    return observation_.data();
}

void StoredObservation::clear() {
    const double missing = missing_value('.');
    for (const Column &column : columns_) {
        const bool is_text = column.stored == StoredType::text || column.stored == StoredType::long_text;
        if (is_text)
            std::memset(observation_.data() + column.position, 0, sizeof(vor_text_slot));
        else
            std::memcpy(observation_.data() + column.position, &missing, sizeof missing);
    }
    ExportRow::clear();
}

} // namespace vor
