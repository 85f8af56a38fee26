#include "jobs/format_statement.h"

#include <vorhost/conversion.h>

#include <algorithm>
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

} // namespace vor
