#include "jobs/stata_names.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace vor {
namespace {

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

} // namespace

std::string StataNames::valid(const std::string &name, size_t ordinal) {
    const icu::UnicodeString clean = cleaned(name);
    std::string candidate = clean.isEmpty() ? fmt::format("var{}", ordinal) : utf8(clean);
    if (is_reserved(candidate))
        candidate = utf8(first_characters(clean, longest_name - 1)) + "_";
    const icu::UnicodeString stem = icu::UnicodeString::fromUTF8(candidate);
    for (int64_t k = 1; !taken_.insert(candidate).second; ++k) {
        const std::string suffix = fmt::format("_{}", k);
        candidate = utf8(first_characters(stem, longest_name - static_cast<int32_t>(suffix.size()))) + suffix;
    }
    return candidate;
}

} // namespace vor
