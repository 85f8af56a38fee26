// Variable names that every reader of a Stata file accepts.
#pragma once

#include <string>
#include <unordered_set>

namespace vor {

// Makes names valid (letters, digits and underscores, no digit in front, at most 32 characters, no reserved word) and
// new among the names it has given out. Upper and lower case letters differ.
class StataNames {
  public:
    // name: UTF-8. ordinal: of the variable, from 1; used when nothing of the name can stay.
    std::string valid(const std::string &name, size_t ordinal);

  private:
    std::unordered_set<std::string> taken_;
};

} // namespace vor
