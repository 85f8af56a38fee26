#include "jobs/export_variables.h"

#include "jobs/file_facts.h"
#include "text/utf8.h"

#include <vor/stata_layout.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unordered_map>
#include <unordered_set>

namespace vor {
namespace {

// Makes names valid (letters, digits and underscores, no digit in front, at most 32 characters, no reserved word) and
// new among the names it has given out. Upper and lower case letters differ.
class StataNames {
  public:
    // name: UTF-8. ordinal: of the variable, from 1; used when nothing of the name can stay.
    std::string valid(const std::string &name, size_t ordinal);

    // Takes a name as it is, which a Stata file had; false when it is taken or too long.
    bool keep(const std::string &name);

  private:
    std::string numbered(const icu::UnicodeString &stem);

    std::unordered_set<std::string> taken_;
    std::unordered_map<std::string, int64_t> next_numbers_; // by what stands before the number
};

constexpr int32_t longest_name = 32; // characters

constexpr std::array<std::string_view, 22> reserved_words = {
    "_all", "_b",     "_coef", "_cons", "_n", "_N",  "_pi",  "_pred", "_rc",   "_se",  "_skip",
    "byte", "double", "float", "if",    "in", "int", "long", "strL",  "using", "with", "str"};

bool is_reserved(const std::string &name) {
    const bool string_type = name.size() > 3 && name.starts_with("str") &&
                             std::all_of(name.begin() + 3, name.end(), [](char c) { return c >= '0' && c <= '9'; });
    return string_type || std::find(reserved_words.begin(), reserved_words.end(), name) != reserved_words.end();
}

std::string utf8(const icu::UnicodeString &text) {
    std::string bytes;
    return text.toUTF8String(bytes);
}

// A copy: what tempSubString returns stays a view of `text`.
icu::UnicodeString first_characters(const icu::UnicodeString &text, int32_t characters) {
    return {text, 0, text.moveIndex32(0, characters)};
}

// Every character that is not a letter, a digit or an underscore becomes an underscore; a digit in front gets one.
icu::UnicodeString cleaned(const std::string &name) {
    icu::UnicodeString clean;
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(name);
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        const bool digit = c >= '0' && c <= '9';
        if (digit && clean.isEmpty())
            clean.append(u'_');
        clean.append(u_isalpha(c) || digit || c == '_' ? c : static_cast<UChar32>('_'));
    }
    return first_characters(clean, longest_name);
}

std::string StataNames::valid(const std::string &name, size_t ordinal) {
    const icu::UnicodeString clean = cleaned(name);
    std::string candidate = clean.isEmpty() ? fmt::format("var{}", ordinal) : utf8(clean);
    if (is_reserved(candidate))
        candidate = utf8(first_characters(clean, longest_name - 1)) + "_";
    return taken_.insert(candidate).second ? candidate : numbered(icu::UnicodeString::fromUTF8(candidate));
}

// A free name of the stem, as much of it as there is room for, and a number. Numbers that an earlier search found
// taken stay taken.
std::string StataNames::numbered(const icu::UnicodeString &stem) {
    int64_t least = 1; // number of so many digits
    for (int32_t digits = 1;; ++digits, least *= 10) {
        const std::string start = utf8(first_characters(stem, longest_name - 1 - digits)) + "_";
        int64_t &next = next_numbers_.try_emplace(start, least).first->second;
        while (next < 10 * least) {
            std::string name = fmt::format("{}{}", start, next++);
            if (taken_.insert(name).second)
                return name;
        }
    }
}

bool StataNames::keep(const std::string &name) {
    return !name.empty() && icu::UnicodeString::fromUTF8(name).countChar32() <= longest_name &&
           taken_.insert(name).second;
}

constexpr size_t longest_label = 320; // bytes

// A variable's label for the module, in the session encoding.
std::string encoded_label(const Host &host, const Variable &variable, const ExportVariables::Note &note) {
    int replaced = 0;
    std::string bytes = host.encode(variable.label, &replaced);
    if (replaced > 0)
        note(fmt::format("variable {}: characters of its label that the session encoding does not have, written as "
                         "'?': {}.",
                         variable.name, replaced));
    return bytes;
}

// A name of characters that the session encoding has. What stands for the others is valid in no name.
std::string in_session(const Host &host, const std::string &name) {
    int replaced = 0;
    const std::string bytes = host.encode(name, &replaced);
    std::string scratch;
    return replaced == 0 ? name : std::string(host.decode(bytes, scratch).text);
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

// session: whose characters the names keep to; null: any.
void rename(std::vector<Variable> &variables, bool labels_as_names, const Notes &note, const Host *session) {
    StataNames names;
    size_t ordinal = 0;
    for (Variable &variable : variables) {
        const bool from_label = labels_as_names && !variable.label.empty();
        const std::string wanted = from_label ? variable.label : variable.name;
        const std::string fitting = session ? in_session(*session, wanted) : wanted;
        ++ordinal;
        const bool recorded = !from_label && !variable.stata_format.empty() && fitting == wanted;
        const std::string name = recorded && names.keep(wanted) ? wanted : names.valid(fitting, ordinal);
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

void shorten_labels(std::vector<Variable> &variables, const Notes &note) {
    for (Variable &variable : variables) {
        const size_t kept = whole_characters(variable.label, longest_label).size();
        if (kept == variable.label.size())
            continue;
        note(fmt::format("variable {}: its label of {} bytes is cut to {}.", variable.name, variable.label.size(),
                         kept));
        variable.label.resize(kept);
    }
}

} // namespace

std::vector<Variable> file_variables(std::vector<Variable> variables, bool labels_as_names, const Notes &note,
                                     const Host *session) {
    rename(variables, labels_as_names, note, session);
    shorten_labels(variables, note);
    return variables;
}

ExportVariables::ExportVariables(const Host &host, const DataSet &description, bool labels_as_names,
                                 ExportedFormats &formats, const Note &note)
    : variables_(file_variables(description.variables, labels_as_names, note, &host)) {
    for (Variable &variable : variables_) {
        variable.format = host_format(variable);
        append(host, variable, formats, note);
    }
}

void ExportVariables::append(const Host &host, const Variable &variable, ExportedFormats &formats, const Note &note) {
    Texts &texts = texts_.emplace_back();
    texts.name = host.encode(variable.name, nullptr);
    texts.label = encoded_label(host, variable, note);

    NAMELIST &node = nodes_.emplace_back();
    if (nodes_.size() > 1)
        nodes_[nodes_.size() - 2].next = &node;
    NAMESTR &target = node.namestr;
    const bool numeric = variable.kind == ValueKind::numeric;
    target.ntype = numeric ? NAMESTR_NUMERIC : NAMESTR_CHARACTER;
    const int32_t longest = variable.stored == StoredType::long_text ? LONGEST_STRING_BYTES : variable.length;
    target.nlng = numeric ? 8 : std::clamp<int32_t>(longest, 1, LONGEST_STRING_BYTES);
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

    columns_.push_back({variable.kind, temporal_class(variable),
                        numeric ? temporal_class(variable.format) : Temporal::none, target.nlng, position_});
    position_ += target.nlng;
}

} // namespace vor
