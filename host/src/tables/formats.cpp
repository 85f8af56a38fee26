// Display formats as people write them, and the labels of user formats.
#include <vorhost/ascii.h>
#include <vorhost/dataset.h>
#include <vorhost/tables.h>
#include <vorhost/user_format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <unordered_map>
#include <utility>

namespace vor {

namespace {

constexpr size_t longest_format_name = 32;
constexpr std::array kinds = {std::pair{ValueKind::numeric, "numeric"}, std::pair{ValueKind::character, "character"}};

bool is_name_character(char character) {
    return is_digit(character) || is_letter(character) || character == '_';
}

// All of the text as a number of at most 9 digits; an empty text is 0.
bool read_small(std::string_view text, int &number) {
    number = 0;
    if (text.empty())
        return true;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() && text.size() <= 9 && is_digit(text.front());
}

// Equal numbers give equal keys: the two zeros are one value.
uint64_t key_of(double value) {
    return std::bit_cast<uint64_t>(value == 0 ? 0.0 : value);
}

bool same_value(const FormatValue &left, const FormatValue &right) {
    const auto *first = std::get_if<double>(&left);
    const auto *second = std::get_if<double>(&right);
    if (first && second)
        return std::bit_cast<uint64_t>(*first) == std::bit_cast<uint64_t>(*second);
    return left == right;
}

constexpr struct {
    StoredType type;
    std::string_view word;
} stored_types[] = {
    {StoredType::int8, "byte"},     {StoredType::int16, "int"},      {StoredType::int32, "long"},
    {StoredType::float32, "float"}, {StoredType::float64, "double"}, {StoredType::long_text, "strL"},
};
constexpr std::string_view text_word = "str";

} // namespace

const char *kind_name(ValueKind kind) {
    return kinds[static_cast<size_t>(kind)].second;
}

std::optional<ValueKind> kind_of_name(std::string_view name) {
    for (const auto &[kind, word] : kinds)
        if (name == word)
            return kind;
    return std::nullopt;
}

std::string stored_type_text(const Variable &variable) {
    if (variable.stored == StoredType::text)
        return std::string(text_word) + std::to_string(variable.length);
    for (const auto &[type, word] : stored_types)
        if (type == variable.stored)
            return std::string(word);
    return {};
}

bool set_stored_type(Variable &variable, std::string_view word) {
    for (const auto &[type, known] : stored_types) {
        if (known == word) {
            variable.stored = type;
            return true;
        }
    }
    int length = 0;
    if (!word.starts_with(text_word) || !read_small(word.substr(text_word.size()), length) || length < 1)
        return false;
    variable.stored = StoredType::text;
    variable.length = length;
    return true;
}

const std::string &labels_name(const Variable &variable) {
    return variable.label_table.empty() ? variable.format.name : variable.label_table;
}

LabelLookup::LabelLookup(const std::vector<UserFormat> &tables, FormatLookup formats) : formats_(std::move(formats)) {
    for (const UserFormat &table : tables)
        tables_.emplace(table.name, &table);
}

const UserFormat *LabelLookup::find(const Variable &variable) const {
    const auto table = tables_.find(labels_name(variable));
    return table == tables_.end() ? find_format(variable) : table->second;
}

const UserFormat *LabelLookup::find_format(const Variable &variable) const {
    const std::string &name = labels_name(variable);
    return !formats_ || name.empty() || tables_.contains(name) ? nullptr : formats_(name);
}

std::string format_text(const Format &format) {
    if (format.name.empty() && format.width == 0)
        return {};
    std::string text = format.name;
    if (format.width != 0)
        text += std::to_string(format.width);
    text += '.';
    if (format.decimals != 0)
        text += std::to_string(format.decimals);
    return text;
}

Format parse_format(std::string_view text) {
    const size_t stop = text.find('.');
    if (stop == std::string_view::npos)
        return {};
    size_t name_end = stop;
    while (name_end > 0 && is_digit(text[name_end - 1]))
        --name_end;
    const std::string_view name = text.substr(0, name_end);
    const std::string_view letters = name.substr(name.starts_with('$') ? 1 : 0);
    Format format{std::string(name)};
    const bool valid = read_small(text.substr(name_end, stop - name_end), format.width) &&
                       read_small(text.substr(stop + 1), format.decimals) && name.size() <= longest_format_name &&
                       std::all_of(letters.begin(), letters.end(), is_name_character) &&
                       (!name.empty() || format.width != 0);
    return valid ? format : Format{};
}

bool FormatRange::operator==(const FormatRange &other) const {
    return same_value(start, other.start) && same_value(end, other.end) && labels == other.labels;
}

bool is_single(const FormatRange &range) {
    return same_value(range.start, range.end);
}

struct LabelIndex::State {
    std::unordered_map<uint64_t, const std::string *> numbers;
    std::unordered_map<std::string_view, const std::string *> texts;
    std::vector<const FormatRange *> intervals;
};

LabelIndex::LabelIndex(const UserFormat &format) : state_(std::make_unique<State>()) {
    for (const FormatRange &range : format.ranges) {
        if (range.labels.empty())
            continue;
        const std::string *label = &range.labels.front();
        if (!is_single(range))
            state_->intervals.push_back(&range);
        else if (const auto *number = std::get_if<double>(&range.start))
            state_->numbers.emplace(key_of(*number), label);
        else
            state_->texts.emplace(std::get<std::string>(range.start), label);
    }
}

LabelIndex::~LabelIndex() = default;
LabelIndex::LabelIndex(LabelIndex &&) noexcept = default;
LabelIndex &LabelIndex::operator=(LabelIndex &&) noexcept = default;

const std::string *LabelIndex::find(double value) const {
    if (const auto found = state_->numbers.find(key_of(value)); found != state_->numbers.end())
        return found->second;
    for (const FormatRange *range : state_->intervals) {
        const auto *start = std::get_if<double>(&range->start);
        const auto *end = std::get_if<double>(&range->end);
        if (start && end && *start <= value && value <= *end)
            return &range->labels.front();
    }
    return nullptr;
}

const std::string *LabelIndex::find(std::string_view text) const {
    if (const auto found = state_->texts.find(text); found != state_->texts.end())
        return found->second;
    for (const FormatRange *range : state_->intervals) {
        const auto *start = std::get_if<std::string>(&range->start);
        const auto *end = std::get_if<std::string>(&range->end);
        if (start && end && *start <= text && text <= *end)
            return &range->labels.front();
    }
    return nullptr;
}

} // namespace vor
