// One conversion from an encoding to another, reusable: the pipeline behind the module's transcoding.
//
// It stops at the first fault and delivers what was converted before it, never a part of a character. It knows nothing
// of names.
#pragma once

#include "text/encodings.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vor {

class Transcoding : public TRANSPIPE {
  public:
    // same: both encodings are one, and the text passes unchanged, valid or not. both_transparent: in both, ASCII
    // characters are the bytes that they are in ASCII.
    Transcoding(Converter from, Converter to, bool same, bool both_transparent);

    // Appends at most `limit_bytes` bytes to `converted`; a status of vor/encoding.h.
    int32_t convert(std::string_view text, int64_t limit_bytes, std::string &converted);

  private:
    size_t whole_characters(std::string_view text, size_t limit);
    int32_t convert_piece(const char *&from, const char *end, size_t limit, std::string &converted);

    Converter from_;
    Converter to_;
    bool same_;
    bool both_transparent_;
    std::string output_; // of Transcode, kept for its capacity
};

} // namespace vor
