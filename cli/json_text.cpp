#include "json_text.h"

#include <fmt/format.h>
#include <iterator>

namespace vor::cli {

void JsonText::before_value() {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (depth_ == 0)
        return;
    if (!first_)
        text_ += ',';
    if (inline_depth_ == 0)
        text_.append(1, '\n').append(2 * depth_, ' ');
    else if (!first_)
        text_ += ' ';
    first_ = false;
}

void JsonText::begin(char bracket, bool on_one_line) {
    before_value();
    text_ += bracket;
    ++depth_;
    first_ = true;
    if (on_one_line && inline_depth_ == 0)
        inline_depth_ = depth_;
}

void JsonText::end(char bracket) {
    const bool on_one_line = inline_depth_ != 0;
    if (inline_depth_ == depth_)
        inline_depth_ = 0;
    --depth_;
    if (!on_one_line && !first_)
        text_.append(1, '\n').append(2 * depth_, ' ');
    text_ += bracket;
    first_ = false;
}

void JsonText::quoted(std::string_view utf8) {
    text_ += '"';
    for (const char c : utf8) {
        if (c == '"' || c == '\\')
            text_.append(1, '\\').append(1, c);
        else if (static_cast<unsigned char>(c) < 0x20)
            fmt::format_to(std::back_inserter(text_), "\\u{:04x}", static_cast<int>(c));
        else
            text_ += c;
    }
    text_ += '"';
}

void JsonText::key(std::string_view name) {
    before_value();
    quoted(name);
    text_ += ": ";
    after_key_ = true;
}

void JsonText::string(std::string_view utf8) {
    before_value();
    quoted(utf8);
}

void JsonText::number(int64_t value) {
    raw_number(fmt::format("{}", value));
}

void JsonText::boolean(bool value) {
    raw_number(value ? "true" : "false");
}

void JsonText::null() {
    raw_number("null");
}

void JsonText::raw_number(std::string_view digits) {
    before_value();
    text_ += digits;
}

void JsonText::begin_object() {
    begin('{', false);
}
void JsonText::begin_inline_object() {
    begin('{', true);
}
void JsonText::end_object() {
    end('}');
}
void JsonText::begin_array() {
    begin('[', false);
}
void JsonText::end_array() {
    end(']');
}

} // namespace vor::cli
