#include "jobs/file_facts.h"

#include "jobs/user_formats.h"

#include <vor/stata_layout.h>
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <fmt/format.h>
#include <unordered_map>

namespace vor {
namespace {

// By stored_type.
constexpr StoredType stored_types[] = {StoredType::int8,     StoredType::int16,   StoredType::int32,
                                       StoredType::float32,  StoredType::float64, StoredType::text,
                                       StoredType::long_text};

std::string_view view(const vor_text &text) {
    return {text.bytes, static_cast<size_t>(text.length)};
}

double labelled_value(int32_t stored) {
    return stored <= LARGEST_LONG ? stored : missing_value(letter_of_rank(missing_rank(stored)));
}

// Missing values first, by their marks; then by number.
bool comes_before(const FormatRange &left, const FormatRange &right) {
    const double one = std::get<double>(left.start);
    const double other = std::get<double>(right.start);
    if (is_missing(one) || is_missing(other))
        return is_missing(one) && (!is_missing(other) || missing_mark(one) < missing_mark(other));
    return one < other;
}

UserFormat user_format(const vor_label_table &table, const DecodeText &decode) {
    UserFormat format;
    format.name = decode(view(table.name), "the name of a value-label table", "");
    format.ranges.reserve(static_cast<size_t>(table.count));
    for (int64_t i = 0; i < table.count; ++i) {
        FormatRange &range = format.ranges.emplace_back();
        range.start = range.end = labelled_value(table.labels[i].value);
        const std::string &text = range.labels.emplace_back(
            decode(view(table.labels[i].text), "a label of the value-label table ", format.name));
        format.default_width = std::max(format.default_width, static_cast<int>(text.size()));
    }
    if (!std::ranges::is_sorted(format.ranges, comes_before))
        std::ranges::stable_sort(format.ranges, comes_before);
    return format;
}

Variable described(const vor_variable_facts &facts, size_t ordinal, bool labels, const DecodeText &decode) {
    Variable variable;
    variable.name = decode(view(facts.name), "the name of variable ", std::to_string(ordinal));
    variable.label = decode(view(facts.label), "the label of variable ", variable.name);
    variable.stata_format = decode(view(facts.format), "the display format of variable ", variable.name);
    if (labels)
        variable.label_table =
            decode(view(facts.label_table), "the name of the label table of variable ", variable.name);
    variable.stored = stored_types[facts.stored];
    const bool is_text = facts.stored >= STORED_STRING;
    variable.kind = is_text ? ValueKind::character : ValueKind::numeric;
    variable.length = is_text ? std::max(facts.width_bytes, 1) : 8;
    return variable;
}

// The display format of a variable whose description has none.
std::string usual_format(const Variable &variable) {
    switch (temporal_class(variable)) {
    case Temporal::none:
        break;
    case Temporal::date:
        return "%td";
    case Temporal::time:
        return "%tcHH:MM:SS";
    default:
        return "%tc";
    }
    switch (variable.stored) {
    case StoredType::int8:
    case StoredType::int16:
        return "%8.0g";
    case StoredType::int32:
        return "%12.0g";
    case StoredType::float32:
        return "%9.0g";
    case StoredType::text:
        return fmt::format("%{}s", std::max(9, variable.length));
    case StoredType::long_text:
        return "%9s";
    default:
        return "%10.0g";
    }
}

// The stored value that a label belongs to. number: one that a Stata file can label.
int32_t label_value(double number) {
    if (!is_missing(number))
        return static_cast<int32_t>(number);
    return stored_missing<int32_t>(rank_of_letter(missing_mark(number)));
}

} // namespace

int32_t stored_code(StoredType type) {
    return static_cast<int32_t>(std::ranges::find(stored_types, type) - std::begin(stored_types));
}

Format host_format(const Variable &variable) {
    if (variable.stata_format.empty())
        return variable.format;
    const Temporal shown = temporal_class(variable.format);
    switch (temporal_class(variable)) {
    case Temporal::none:
        return shown == Temporal::none ? variable.format : Format{};
    case Temporal::clock:
    case Temporal::leap_clock:
        return {"DATETIME", 16, 0};
    case Temporal::time_of_day:
        return {"TIME", 8, 0};
    default:
        return shown == Temporal::date ? variable.format : Format{"MMDDYY", 10, 0};
    }
}

DataSet described(const vor_file_facts &facts, bool labels, const DecodeText &decode) {
    DataSet description;
    description.label = decode(view(facts.data_label), "the data label", "");
    description.timestamp = decode(view(facts.timestamp), "the time stamp", "");
    description.observations = facts.observations;
    for (int64_t i = 0; i < facts.variable_count; ++i)
        description.variables.push_back(described(facts.variables[i], static_cast<size_t>(i) + 1, labels, decode));
    for (int64_t i = 0; i < facts.sort_key_count; ++i)
        description.sort.push_back(description.variables[static_cast<size_t>(facts.sort_keys[i]) - 1].name);
    for (int64_t i = 0; i < facts.characteristic_count; ++i) {
        const vor_characteristic &one = facts.characteristics[i];
        const std::string of = decode(view(one.of), "a characteristic's owner", "");
        const std::string name = decode(view(one.name), "the name of a characteristic", "");
        description.characteristics.push_back(
            {of, name, decode(view(one.text), "the characteristic ", fmt::format("{} of {}", name, of))});
    }
    for (int64_t i = 0; i < facts.label_table_count; ++i)
        description.label_tables.push_back(user_format(facts.label_tables[i], decode));
    return description;
}

ExportFacts::ExportFacts(DataSet description, const Notes &warn) : description_(std::move(description)) {
    facts_.data_label = kept(description_.label);
    facts_.timestamp = kept(description_.timestamp);
    add_variables();
    add_sort_keys();
    add_characteristics();
    add_label_tables(warn);
}

vor_text ExportFacts::kept(const std::string &text) {
    return {.bytes = text.data(), .length = static_cast<int64_t>(text.size())};
}

void ExportFacts::add_variables() {
    for (Variable &variable : description_.variables) {
        const bool is_text = variable.kind == ValueKind::character;
        if (variable.stored == StoredType::unknown)
            variable.stored = is_text ? StoredType::text : StoredType::float64;
        if (variable.stata_format.empty())
            variable.stata_format = usual_format(variable);
        vor_variable_facts &facts = variables_.emplace_back();
        facts.name = kept(variable.name);
        facts.label = kept(variable.label);
        facts.format = kept(variable.stata_format);
        facts.label_table = kept(variable.label_table);
        facts.stored = stored_code(variable.stored);
        facts.width_bytes = facts.stored == STORED_STRING ? variable.length : STORED_BYTES[facts.stored];

        NAMELIST &node = nodes_.emplace_back();
        if (nodes_.size() > 1)
            nodes_[nodes_.size() - 2].next = &node;
        node.namestr.ntype = is_text ? NAMESTR_CHARACTER : NAMESTR_NUMERIC;
        node.namestr.nlng = is_text ? static_cast<int32_t>(sizeof(vor_text_slot)) : 8;
    }
    facts_.variable_count = static_cast<int64_t>(variables_.size());
    facts_.variables = variables_.data();
}

// The data may be sorted by the variables in front of one that is not there any more.
void ExportFacts::add_sort_keys() {
    const std::vector<Variable> &variables = description_.variables;
    for (const std::string &name : description_.sort) {
        const auto found = std::find_if(variables.begin(), variables.end(),
                                        [&](const Variable &variable) { return variable.name == name; });
        if (found == variables.end())
            break;
        sort_keys_.push_back(static_cast<int32_t>(found - variables.begin()) + 1);
    }
    facts_.sort_key_count = static_cast<int64_t>(sort_keys_.size());
    facts_.sort_keys = sort_keys_.data();
}

void ExportFacts::add_characteristics() {
    for (const Characteristic &one : description_.characteristics)
        characteristics_.push_back({kept(one.of), kept(one.name), kept(one.text)});
    facts_.characteristic_count = static_cast<int64_t>(characteristics_.size());
    facts_.characteristics = characteristics_.data();
}

void ExportFacts::add_label_tables(const Notes &warn) {
    for (const UserFormat &table : description_.label_tables)
        add_label_table(table, warn);
    facts_.label_table_count = static_cast<int64_t>(tables_.size());
    facts_.label_tables = tables_.data();
}

void ExportFacts::add_label_table(const UserFormat &table, const Notes &warn) {
    std::vector<vor_value_label> &labels = labels_.emplace_back();
    size_t lost = 0;
    for (const FormatRange &range : table.ranges) {
        const bool can_be_labelled = !obstacle(range) && !range.labels.empty();
        lost += range.labels.size() - (can_be_labelled ? 1 : 0);
        if (!can_be_labelled)
            continue;
        labels.push_back({kept(range.labels.front()), label_value(std::get<double>(range.start)), 0});
    }
    std::ranges::sort(labels, {}, &vor_value_label::value);
    if (lost > 0)
        warn(fmt::format("the value-label table {}: labels that a Stata file cannot hold are left out: {}.", table.name,
                         lost));
    tables_.push_back({kept(table.name), static_cast<int64_t>(labels.size()), labels.data()});
}

} // namespace vor
