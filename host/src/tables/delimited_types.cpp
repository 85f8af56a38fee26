#include "tables/delimited_types.h"

#include "text/number_text.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>

#include <fmt/format.h>
#include <unordered_map>

namespace vor {

namespace {

bool fits(ColumnKind kind, std::string_view value) {
    if (kind == ColumnKind::number)
        return is_number(value);
    const Temporal temporal = temporal_of(kind);
    return temporal == Temporal::none || parse_iso(temporal, value).has_value();
}

} // namespace

std::vector<std::string> read_names(const DelimitedReader &reader) {
    std::vector<std::string> names;
    std::unordered_map<std::string_view, size_t> seen;
    for (const std::string_view field : reader.fields()) {
        const std::string_view name = trimmed(field);
        const size_t index = names.size();
        if (name.empty())
            throw ConversionError(Failure::conversion, reader.place(index) + ": the column has no name.");
        check_text(reader, name, index, {}, false);
        const auto [first, is_new] = seen.emplace(name, index);
        if (!is_new)
            throw ConversionError(Failure::conversion, fmt::format("{}: the name {} is also that of column {}.",
                                                                   reader.place(index), name, first->second + 1));
        names.emplace_back(name);
    }
    return names;
}

void check_text(const DelimitedReader &reader, std::string_view text, size_t field, const std::string &name,
                bool nul_allowed) {
    if (!reader.unusual_bytes())
        return;
    const char *fault = !services::is_utf8(text)                                    ? "bytes that are not UTF-8"
                        : !nul_allowed && text.find('\0') != std::string_view::npos ? "a NUL byte"
                                                                                    : nullptr;
    if (fault)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}{}: the text holds {}.", reader.place(field),
                                          name.empty() ? std::string() : fmt::format(" ({})", name), fault));
}

void check_width(const DelimitedReader &reader, size_t names) {
    if (reader.fields().size() != names)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: {} fields were found where {} were expected, one for each name.",
                                          reader.place(), reader.fields().size(), names));
}

void ColumnEvidence::add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name) {
    const std::string_view text = without_trailing_blanks(field);
    if (text.size() > longest_bytes_)
        longest_bytes_ = text.size();
    if (kind_ != ColumnKind::text) {
        const std::string_view value = trimmed(text);
        double missing = 0;
        if (value.size() <= missing_text_max_bytes && read_missing(value, missing))
            return;
        add_value(reader, value);
    }
    if (kind_ == ColumnKind::text)
        check_text(reader, text, index, name, false);
}

void ColumnEvidence::add_value(const DelimitedReader &reader, std::string_view value) {
    if (kind_ == ColumnKind::unknown)
        kind_ = is_number(value) ? ColumnKind::number : kind_of_text(value);
    else if (!fits(kind_, value))
        kind_ = ColumnKind::text;
    if (kind_ == ColumnKind::number && loses_digits(value) && inexact_++ == 0)
        first_inexact_ = reader.row();
}

Variable ColumnEvidence::variable(const std::string &name) const {
    Variable variable{name, {}, ValueKind::numeric, 8, format_of(kind_), {}};
    if (kind_ == ColumnKind::text) {
        variable.kind = ValueKind::character;
        variable.length = longest_bytes_ == 0 ? 1 : static_cast<int>(longest_bytes_);
    }
    return variable;
}

std::string ColumnEvidence::note(const std::string &name) const {
    if (kind_ != ColumnKind::number || inexact_ == 0)
        return {};
    return inexact_note(name, inexact_, first_inexact_);
}

DataSet find_types(DelimitedReader &reader, const std::vector<std::string> &names, const Notes &notes) {
    std::vector<ColumnEvidence> columns(names.size());
    DataSet found;
    found.observations = 0;
    while (reader.next()) {
        check_width(reader, names.size());
        const auto fields = reader.fields();
        for (size_t i = 0; i < fields.size(); ++i)
            columns[i].add(reader, fields[i], i, names[i]);
        ++found.observations;
    }
    for (size_t i = 0; i < names.size(); ++i) {
        found.variables.push_back(columns[i].variable(names[i]));
        const std::string note = columns[i].note(names[i]);
        if (!note.empty() && notes)
            notes(note);
    }
    return found;
}

} // namespace vor
