// Long texts in a form that is always text: bytes that are none get a code, and what looks like one a mark.
#pragma once

#include <string>
#include <string_view>

namespace vor {

// "base64:" and the code of the bytes after RFC 4648.
std::string binary_as_text(std::string_view bytes);

// Whether a text needs the mark, which goes in front, not to be taken for something else when it is read.
bool needs_text_mark(std::string_view text);
inline constexpr std::string_view text_mark = "text:";

// The inverse of both. binary: whether bytes came out; they are in `scratch` then, else a part of the field. A field
// that begins as a code and is none is a text.
struct LongText {
    std::string_view value;
    bool binary = false;
};
LongText read_long_text(std::string_view field, std::string &scratch);

} // namespace vor
