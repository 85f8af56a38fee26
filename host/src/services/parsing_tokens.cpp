// The scanner of statement text. It knows the forms of names, numbers and quoted text; the literals are the grammar's.

#include "services/parsing_tokens.h"

#include <vorhost/ascii.h>

#include <algorithm>
#include <array>
#include <optional>

namespace vor {
namespace {

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Bytes above ASCII belong to names, whatever the encoding of the text is.
bool starts_name(char c) {
    return is_letter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool in_name(char c) {
    return starts_name(c) || is_digit(c);
}

struct LiteralKind {
    std::string_view suffix;
    int16_t type;
};
constexpr std::array literal_kinds = {
    LiteralKind{"", PARSE_QUOTED_STRING}, LiteralKind{"d", PARSE_DATE}, LiteralKind{"dt", PARSE_DATETIME},
    LiteralKind{"n", PARSE_NAME_LITERAL}, LiteralKind{"t", PARSE_TIME},
};

class Scanner {
  public:
    Scanner(std::string_view text, size_t position) : text_(text), start_(position), at_(position) {}

    Token scan(const std::vector<LiteralText> &literals, int16_t end_type) {
        if (!pass_blanks())
            return unfinished();
        start_ = at_;
        const char c = peek();
        if (at_ == text_.size())
            return token(end_type);
        if (c == '\'' || c == '"')
            return quoted();
        if (starts_name(c) || (c == '$' && starts_name(peek(1))))
            return word(literals);
        if (is_digit(c) || (c == '.' && is_digit(peek(1))))
            return number();
        if (c == '.')
            return missing();
        return sign(literals);
    }

  private:
    // The byte so far ahead; 0 behind the end.
    char peek(size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }

    Token token(int16_t type, std::vector<std::string> names = {}) const {
        return {.type = type,
                .word = false,
                .position = start_,
                .text = std::string(text_.substr(start_, at_ - start_)),
                .names = std::move(names)};
    }

    Token unfinished() {
        at_ = text_.size();
        return token(PARSE_NO_TOKEN);
    }

    // Text that begins like a token and runs into more: all of it.
    Token run_together() {
        while (in_name(peek()) || peek() == '.')
            ++at_;
        return token(PARSE_NO_TOKEN);
    }

    // False for a comment without an end; start_ is then on the comment.
    bool pass_blanks() {
        for (;; ++at_) {
            if (peek() == '/' && peek(1) == '*') {
                start_ = at_;
                const size_t end = text_.find("*/", at_ + 2);
                if (end == std::string_view::npos)
                    return false;
                at_ = end + 1;
            } else if (!is_blank(peek())) {
                return true;
            }
        }
    }

    std::string name() {
        const size_t from = at_;
        while (in_name(peek()))
            ++at_;
        return std::string(text_.substr(from, at_ - from));
    }

    void pass_digits() {
        while (is_digit(peek()))
            ++at_;
    }

    // The text between quotes, with doubled quotes made single; nothing when the closing one is missing.
    std::optional<std::string> quoted_text() {
        const char quote = text_[at_++];
        std::string content;
        for (; at_ < text_.size(); ++at_) {
            if (text_[at_] == quote) {
                ++at_;
                if (peek() != quote)
                    return content;
            }
            content += text_[at_];
        }
        return std::nullopt;
    }

    Token quoted() {
        std::optional<std::string> content = quoted_text();
        if (!content)
            return unfinished();
        const std::string suffix = name();
        const auto kind = std::ranges::find_if(
            literal_kinds, [&](const LiteralKind &k) { return same_but_for_case(k.suffix, suffix); });
        if (kind == literal_kinds.end())
            return run_together();
        if (kind->type == PARSE_NAME_LITERAL && peek() == '.')
            return second_level(std::move(*content));
        const bool is_name = kind->type == PARSE_QUOTED_STRING || kind->type == PARSE_NAME_LITERAL;
        return token(kind->type, is_name ? std::vector{std::move(*content)} : std::vector<std::string>{});
    }

    // The rest of a two-level name, from its period on.
    Token second_level(std::string first) {
        ++at_;
        if (starts_name(peek())) {
            std::string second = name();
            if (peek() != '.')
                return token(PARSE_TWO_LEVEL_NAME, {std::move(first), std::move(second)});
        } else if (peek() == '\'' || peek() == '"') {
            std::optional<std::string> second = quoted_text();
            if (!second)
                return unfinished();
            if (same_but_for_case(name(), "n") && peek() != '.')
                return token(PARSE_TWO_LEVEL_NAME, {std::move(first), std::move(*second)});
        }
        return run_together();
    }

    Token word(const std::vector<LiteralText> &literals) {
        const bool character_format = peek() == '$';
        at_ += character_format ? 1 : 0;
        std::string first = name();
        if (peek() == '.') {
            const char next = peek(1);
            if (!character_format && (starts_name(next) || next == '\'' || next == '"'))
                return second_level(std::move(first));
            ++at_;
            pass_digits();
            if (in_name(peek()) || peek() == '.')
                return run_together();
            return token(PARSE_FORMAT, {(character_format ? "$" : "") + first});
        }
        if (character_format)
            return token(PARSE_NO_TOKEN);
        const auto literal =
            std::ranges::find_if(literals, [&](const LiteralText &l) { return same_but_for_case(l.text, first); });
        Token found = token(literal == literals.end() ? static_cast<int16_t>(PARSE_NAME) : literal->type, {first});
        found.word = literal != literals.end();
        return found;
    }

    Token number() {
        const size_t from = at_;
        pass_digits();
        if (peek() == '.') {
            ++at_;
            pass_digits();
        }
        if (lower_case(peek()) == 'e') {
            const size_t sign = peek(1) == '+' || peek(1) == '-' ? 1 : 0;
            if (is_digit(peek(1 + sign))) {
                at_ += 1 + sign;
                pass_digits();
            }
        }
        if (in_name(peek()) || peek() == '.')
            return run_together();
        const bool whole = std::ranges::all_of(text_.substr(from, at_ - from), is_digit);
        return token(whole ? PARSE_INTEGER : PARSE_NUMBER);
    }

    Token missing() {
        ++at_;
        if (is_letter(peek()) || peek() == '_')
            ++at_;
        if (in_name(peek()) || peek() == '.')
            return run_together();
        return token(PARSE_MISSING);
    }

    Token sign(const std::vector<LiteralText> &literals) {
        if (peek() == ';') {
            ++at_;
            return token(PARSE_END_OF_STATEMENT);
        }
        const LiteralText *longest = nullptr;
        for (const LiteralText &literal : literals)
            if (text_.substr(at_).starts_with(literal.text) &&
                (longest == nullptr || literal.text.size() > longest->text.size()))
                longest = &literal;
        at_ += longest == nullptr ? 1 : longest->text.size();
        return token(longest == nullptr ? static_cast<int16_t>(PARSE_NO_TOKEN) : longest->type);
    }

    std::string_view text_;
    size_t start_; // of the token
    size_t at_;
};

} // namespace

Token scan_token(std::string_view text, size_t position, const std::vector<LiteralText> &literals, int16_t end_type) {
    return Scanner(text, position).scan(literals, end_type);
}

} // namespace vor
