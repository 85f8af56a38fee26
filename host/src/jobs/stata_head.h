// The first look at a Stata file: what its head says, before the module opens it. The module alone decides whether a
// file is acceptable; a damaged head gives zeros here.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vor {

struct StataHead {
    int release = 0; // 0: not known
    bool big_endian = false;
    int64_t observations = 0;
    std::string data_label; // bytes as they stand in the file
};

// Bytes from the start of a file that hold every complete head.
inline constexpr size_t stata_head_bytes = 4096;

StataHead read_stata_head(std::string_view bytes);

// From this release on the text of a file is UTF-8 or has an encoding of its own, which the module converts.
inline constexpr int first_tagged_release = 117;

} // namespace vor
