#include "jobs/user_formats.h"

#include "services/formats.h"

#include <vor/formats.h>
#include <vor/stata_layout.h>
#include <vorhost/ascii.h>
#include <vorhost/conversion.h>
#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace vor {

namespace {

constexpr size_t longest_library = 8;
constexpr size_t longest_catalog = 32;

bool is_name(const std::string &text, size_t longest) {
    const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
    return !text.empty() && text.size() <= longest && letter(text[0]) &&
           std::all_of(text.begin(), text.end(), [&](char c) { return letter(c) || (c >= '0' && c <= '9'); });
}

} // namespace

FormatPlace FormatPlace::parse(const std::string &text) {
    const size_t dot = text.find('.');
    FormatPlace place{text.substr(0, dot), dot == std::string::npos ? std::string() : text.substr(dot + 1)};
    if (!is_name(place.library, longest_library) ||
        (dot != std::string::npos && !is_name(place.catalog, longest_catalog)))
        throw ConversionError(Failure::usage,
                              fmt::format("\"{}\" does not name a catalog of user formats; write LIBRARY.CATALOG, a "
                                          "library of at most {} and a catalog of at most {} letters, digits and "
                                          "underscores, each with a letter in front.",
                                          text, longest_library, longest_catalog));
    return place;
}

std::string format_statement(const FormatPlace &place) {
    if (place.library.empty())
        return {};
    return fmt::format("FMTLIB={}.{};", place.library, place.catalog.empty() ? "FORMATS" : place.catalog);
}

FormatCatalogs::Written ImportedFormats::write(const std::string &library, const std::string &catalog,
                                               const UserFormat &format, bool keep_existing) {
    ++made_;
    last_ = lower_case(format.name);
    if (!wanted_ || !catalogs_) {
        unwanted_.insert(last_);
        return Written::stored;
    }
    Held one{library, catalog, format, keep_existing};
    if (!waiting_)
        return store(one);
    held_.push_back(std::move(one));
    return Written::stored;
}

bool ImportedFormats::read(const std::string &library, const std::string &catalog, const std::string &name,
                           UserFormat &format) {
    return catalogs_ && catalogs_->read(library, catalog, name, format);
}

void ImportedFormats::release(const std::vector<Variable> &variables) {
    std::unordered_set<std::string> used;
    for (const Variable &variable : variables)
        used.insert(lower_case(variable.format.name));
    for (const Held &one : held_)
        if (used.contains(lower_case(one.format.name)))
            store(one);
    held_.clear();
}

bool ImportedFormats::unwanted(const std::string &name) const {
    return unwanted_.contains(lower_case(name));
}

bool ImportedFormats::ends_with(const Variable &variable) const {
    return wanted_ && made_ == MOST_USER_FORMATS && lower_case(variable.format.name) == last_;
}

FormatCatalogs::Written ImportedFormats::store(const Held &one) {
    UserFormat old;
    const bool is_there = !one.keep_existing && catalogs_->read(one.library, one.catalog, one.format.name, old);
    const Written written = catalogs_->write(one.library, one.catalog, one.format, one.keep_existing);
    if (is_there && old.ranges != one.format.ranges)
        replaced_.push_back(one.format.name);
    return written;
}

ExportedFormats::ExportedFormats(FormatCatalogs *catalogs, FormatPlace place, const std::vector<UserFormat> &own)
    : catalogs_(catalogs), place_(std::move(place)) {
    for (const UserFormat &table : own)
        own_.emplace(table.name, table);
}

std::string ExportedFormats::name_for_module(const Variable &variable, const Notes &warn) {
    if (temporal_class(variable.format) != Temporal::none)
        return variable.format.name;
    const std::string &name = labels_name(variable);
    if (name.empty())
        return {};
    const auto [entry, is_new] = made_up_.try_emplace(name);
    if (!is_new)
        return entry->second;
    UserFormat format;
    if (read(variable, format)) {
        if (format.multilabel) // the module would refuse it under the made-up name
            return {};
        entry->second = fmt::format("_{:07}", made_up_.size());
        names_[entry->second] = name;
    } else if (services::is_built_in_format(name)) {
        entry->second = name;
    } else if (any()) {
        warn(fmt::format("The user format {} is not in {}.{}; nothing is labelled with it.", name, place_.library,
                         place_.catalog));
    }
    return entry->second;
}

FormatCatalogs::Written ExportedFormats::write(const std::string &library, const std::string &catalog,
                                               const UserFormat &format, bool keep_existing) {
    return catalogs_ ? catalogs_->write(library, catalog, format, keep_existing) : Written::kept_old;
}

bool ExportedFormats::read(const std::string &library, const std::string &catalog, const std::string &name,
                           UserFormat &format) {
    const auto known = names_.find(name);
    const std::string &whole = known == names_.end() ? name : known->second;
    const auto table = own_.find(whole);
    if (table != own_.end())
        format = table->second;
    return table != own_.end() || (catalogs_ && catalogs_->read(library, catalog, whole, format));
}

bool ExportedFormats::read(const Variable &variable, UserFormat &format) {
    const std::string &name = labels_name(variable);
    return !name.empty() && read(place_.library, place_.catalog, name, format);
}

const char *obstacle(const FormatRange &range) {
    const auto *start = std::get_if<double>(&range.start);
    if (!start || !is_single(range))
        return "an interval";
    if (is_missing(*start))
        return missing_mark(*start) == '_' ? "the missing value ._" : nullptr;
    if (*start != std::trunc(*start))
        return "a value that is not an integer";
    return *start < SMALLEST_LONG || *start > LARGEST_LONG ? "a value out of range" : nullptr;
}

namespace {

void warn_of_ranges(const Variable &variable, const UserFormat &format, const Notes &warn) {
    for (const FormatRange &range : format.ranges)
        if (const char *reason = obstacle(range))
            warn(fmt::format("variable {}: the label \"{}\" of format {} stands for {} and is not written as such.",
                             variable.name, range.labels.empty() ? "" : range.labels.front(), format.name, reason));
}

// Why no label of the format is written; null when they are.
const char *obstacle(const Variable &variable, const UserFormat &format) {
    if (variable.kind == ValueKind::character || format.kind == ValueKind::character)
        return "a Stata file has labels for numbers only";
    if (temporal_class(variable.format) != Temporal::none)
        return "the variable shows dates or times";
    if (format.multilabel)
        return "its values have several labels";
    return nullptr;
}

} // namespace

void warn_of_lost_labels(const std::vector<Variable> &variables, ExportedFormats &formats, const Notes &warn) {
    for (const Variable &variable : variables) {
        UserFormat format;
        if (!formats.read(variable, format))
            continue;
        if (const char *reason = obstacle(variable, format))
            warn(fmt::format("variable {}: the labels of format {} are not written: {}.", variable.name, format.name,
                             reason));
        else
            warn_of_ranges(variable, format, warn);
    }
}

} // namespace vor
