// JSON, written front to back with two blanks for each level.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vor::cli {

class JsonText {
  public:
    // Values; inside an object a key comes before each. begin_inline keeps all of an object on one line.
    void key(std::string_view name);
    void string(std::string_view utf8);
    void number(int64_t value);
    void boolean(bool value);
    void null();
    void raw_number(std::string_view digits); // a number that is formatted already
    void begin_object();
    void begin_inline_object();
    void end_object();
    void begin_array();
    void end_array();

    // The text, complete, with a line end.
    std::string take() { return std::move(text_) + "\n"; }

  private:
    void before_value();
    void begin(char bracket, bool on_one_line);
    void end(char bracket);
    void quoted(std::string_view utf8);

    std::string text_;
    size_t depth_ = 0;
    size_t inline_depth_ = 0; // level from which everything stays on one line; 0: none
    bool first_ = true;       // nothing stands in the current object or array yet
    bool after_key_ = false;
};

} // namespace vor::cli
