#include "tables/delimited_fields.h"

#include "text/utf8.h"

#include <vorhost/error.h>
#include <vorhost/sentences.h>

#include <fmt/format.h>

namespace vor {

std::string_view with_t(std::string_view text, MomentBuffer &buffer) {
    constexpr size_t date_length = 10;
    if (text.size() <= date_length || text[date_length] != ' ' || text.size() > buffer.size())
        return text;
    text.copy(buffer.data(), text.size());
    buffer[date_length] = 'T';
    return {buffer.data(), text.size()};
}

std::string excerpt(std::string_view text) {
    const std::string_view shown = whole_characters(text, 40);
    return std::string(shown) + (shown.size() < text.size() ? "..." : "");
}

void check_text(const DelimitedReader &reader, std::string_view text, size_t field, const std::string &name,
                bool nul_allowed) {
    if (!reader.unusual_bytes())
        return;
    const char *fault = !is_utf8(text)                                              ? "bytes that are not UTF-8"
                        : !nul_allowed && text.find('\0') != std::string_view::npos ? "a NUL byte"
                                                                                    : nullptr;
    if (fault)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}{}: the text holds {}.", reader.place(field),
                                          name.empty() ? std::string() : fmt::format(" ({})", name), fault));
}

void check_width(const DelimitedReader &reader, size_t names) {
    const size_t found = reader.fields().size();
    if (found != names)
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: found {}, expected {}, one for each name.", reader.place(),
                                          found > names ? "more" : counted(static_cast<int64_t>(found), "field"),
                                          counted(static_cast<int64_t>(names), "field")));
}

} // namespace vor
