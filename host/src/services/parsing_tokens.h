// Tokens of statement text: where each one ends and of which lexical class it is.
#pragma once

#include "vor/parsing.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

struct Token {
    int16_t type = PARSE_NO_TOKEN;  // a PARSE_TOKEN, or the type of a literal text of the grammar
    bool word = false;              // a literal that would otherwise be a name
    size_t position = 0;            // in the pending text, bytes
    std::string text;               // as written; empty at the end of the input
    std::vector<std::string> names; // the levels of a name, without quotes; of a format, its name without the period
};

// A text that a grammar knows, and its token type.
struct LiteralText {
    std::string_view text;
    int16_t type;
};

// The token at or behind `position` of `text`; blanks and comments (/* */) in front of it are passed over.
//
// end_type  the token type that stands for the end of the text.
// Text that is no token comes back as PARSE_NO_TOKEN: an unknown character alone, an unfinished string or comment up
// to the end of the text, a name or number run into something else as far as it goes. The token is position bytes into
// the text and as long as its own text.
Token scan_token(std::string_view text, size_t position, const std::vector<LiteralText> &literals, int16_t end_type);

} // namespace vor
