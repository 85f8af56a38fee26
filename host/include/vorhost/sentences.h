// Pieces of the sentences that people read in the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

// "1 variable", "2 variables".
inline std::string counted(int64_t count, std::string_view noun) {
    return std::to_string(count).append(" ").append(noun).append(count == 1 ? "" : "s");
}

// " Did you mean income?": the name among these that a word was probably meant to be, by the letters that were left
// out, added, changed or swapped, or of which it is the beginning; letter case does not count. Empty when none is near.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &names);

} // namespace vor
