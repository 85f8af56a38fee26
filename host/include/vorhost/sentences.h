// Pieces of the sentences that people read in the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vor {

// "1 variable", "2 variables".
inline std::string counted(int64_t count, std::string_view noun) {
    return std::to_string(count).append(" ").append(noun).append(count == 1 ? "" : "s");
}

} // namespace vor
