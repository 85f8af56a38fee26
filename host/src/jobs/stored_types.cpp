#include "jobs/stored_types.h"

#include "text/number_range.h"

#include <vor/stata_layout.h>
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace vor {
namespace {

// What the values of a column are like.
struct Evidence {
    NumberRange numbers;
    bool binary = false;
    size_t longest_text = 0;
};

// The same of all rows of a batch. from: the unit of its numbers, to: the one that is stored.
void add_column(Evidence &evidence, const Column &column, Temporal from, Temporal to) {
    for (size_t row = 0; row < column.rows; ++row)
        if (column.is_text()) {
            evidence.longest_text = std::max(evidence.longest_text, column.text(row).size());
            evidence.binary = evidence.binary || column.is_binary(row);
        } else {
            evidence.numbers.add(in_unit(from, to, column.number(row)));
        }
}

std::vector<Evidence> evidence_of(BatchSource &source) {
    const std::vector<Variable> &variables = source.description().variables;
    std::vector<Evidence> evidence(variables.size());
    const size_t most = batch_rows(variables);
    for (Batch batch; source.next(batch, most);)
        for (size_t i = 0; i < variables.size(); ++i)
            add_column(evidence[i], batch.columns[i], temporal_class(variables[i]),
                       stored_unit(temporal_class(variables[i])));
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
    if (recorded && evidence.numbers.fits(variable.stored))
        return;
    const std::string old = stored_type_text(variable);
    variable.stored = evidence.numbers.smallest_type();
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

} // namespace vor
