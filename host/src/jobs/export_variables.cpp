#include "jobs/export_variables.h"

#include "jobs/stata_names.h"
#include "text/utf8.h"

#include <vor/stata_layout.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace vor {
namespace {

constexpr size_t longest_label = 320; // bytes

// A variable's name or label for the module, in the session encoding.
std::string encoded(const Host &host, const Variable &variable, const char *what, const std::string &text,
                    const ExportVariables::Note &note) {
    int replaced = 0;
    std::string bytes = host.encode(text, &replaced);
    if (replaced > 0)
        note(fmt::format("variable {}: characters of its {} that the session encoding does not have, written as '?': "
                         "{}.",
                         variable.name, what, replaced));
    return bytes;
}

// A format name into its 8-byte area; the length of what fits.
int16_t fill_name(char (&area)[8], const std::string &name) {
    const size_t length = std::min(name.size(), sizeof area);
    std::memset(area, ' ', sizeof area);
    std::memcpy(area, name.data(), length);
    return static_cast<int16_t>(length);
}

int16_t short_length(const std::string &text) {
    return static_cast<int16_t>(std::min<size_t>(text.size(), 32767));
}

} // namespace

ExportVariables::ExportVariables(const Host &host, const DataSet &description, bool labels_as_names,
                                 ExportedFormats &formats, const Note &note)
    : variables_(description.variables) {
    rename(labels_as_names, note);
    shorten_labels(note);
    for (const Variable &variable : variables_)
        append(host, variable, formats, note);
}

void ExportVariables::rename(bool labels_as_names, const Note &note) {
    StataNames names;
    size_t ordinal = 0;
    for (Variable &variable : variables_) {
        const bool from_label = labels_as_names && !variable.label.empty();
        const std::string wanted = from_label ? variable.label : variable.name;
        const std::string name = names.valid(wanted, ++ordinal);
        if (name != wanted) {
            note(fmt::format("variable {} is written as {}.", wanted, name));
            if (variable.label.empty())
                variable.label = wanted;
        }
        if (from_label)
            variable.label = name;
        variable.name = name;
    }
}

void ExportVariables::shorten_labels(const Note &note) {
    for (Variable &variable : variables_) {
        const size_t kept = services::whole_characters(variable.label, longest_label).size();
        if (kept == variable.label.size())
            continue;
        note(fmt::format("variable {}: its label of {} bytes is cut to {}.", variable.name, variable.label.size(),
                         kept));
        variable.label.resize(kept);
    }
}

void ExportVariables::append(const Host &host, const Variable &variable, ExportedFormats &formats, const Note &note) {
    Texts &texts = texts_.emplace_back();
    texts.name = encoded(host, variable, "name", variable.name, note);
    texts.label = encoded(host, variable, "label", variable.label, note);

    NAMELIST &node = nodes_.emplace_back();
    if (nodes_.size() > 1)
        nodes_[nodes_.size() - 2].next = &node;
    NAMESTR &target = node.namestr;
    const bool numeric = variable.kind == ValueKind::numeric;
    target.ntype = numeric ? NAMESTR_NUMERIC : NAMESTR_CHARACTER;
    target.nlng = numeric ? 8 : std::clamp<int32_t>(variable.length, 1, LONGEST_STRING_BYTES);
    target.npos = position_;
    target.name_p = texts.name.data();
    target.namelen = short_length(texts.name);
    target.label_p = texts.label.data();
    target.nlablen = short_length(texts.label);
    target.nformlong = texts.format;
    target.nformlongl = fill_name(texts.format, formats.name_for_module(variable, note));
    target.niformlong = texts.informat;
    target.niformlongl = fill_name(texts.informat, variable.informat.name);
    target.nfl = static_cast<int16_t>(variable.format.width);
    target.nfd = static_cast<int16_t>(variable.format.decimals);
    target.nifl = static_cast<int16_t>(variable.informat.width);
    target.nifd = static_cast<int16_t>(variable.informat.decimals);

    columns_.push_back(
        {variable.kind, numeric ? temporal_class(variable.format) : Temporal::none, target.nlng, position_});
    position_ += target.nlng;
}

} // namespace vor
