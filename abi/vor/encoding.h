// The host toolkit's national-language extension: encodings by name, and pipelines from one encoding to another.
#pragma once

#include <cstdint>

using NLScei = int32_t;    // an encoding's identifier; above 0 for a known encoding, 0 for the host's default
using ZKChar = uint32_t;   // one wide character (a code point)
using ZKStrSize = int64_t; // a length in wide characters
using ZKMemSize = int64_t; // a length in bytes

// Statuses of Transcode and of the conversions below.
inline constexpr int32_t NLS_OK = 0;
inline constexpr int32_t NLS_TRUNCATED = static_cast<int32_t>(0x803FE807);  // the output limit cut the text
inline constexpr int32_t NLS_BAD_INPUT = static_cast<int32_t>(0x803FE808);  // bytes that the encoding does not allow
inline constexpr int32_t NLS_NO_MAPPING = static_cast<int32_t>(0x803FE809); // a character the target cannot hold
inline constexpr int32_t NLS_NOT_KNOWN = static_cast<int32_t>(0x803FE80A);  // no such encoding
inline constexpr int32_t NLS_NO_MEMORY = static_cast<int32_t>(0x803FE80B);

// A pipeline between two encodings, made by create_pipeline and ended by its own destroy.
struct TRANSPIPE {
    // Converts `length_bytes` bytes; writes at most `limit_bytes`, never a part of a character, and stores the number
    // written through *converted_bytes, also when it fails: what was converted up to the failure stands. options is 0.
    int32_t (*Transcode)(TRANSPIPE *pipe, const char *input, int64_t length_bytes, char *output, int64_t limit_bytes,
                         int64_t *converted_bytes, int32_t options);
    void (*destroy)(TRANSPIPE *pipe);
};

struct NLS_EXTENSION {
    NLScei session_encoding;
    int32_t reserved;
    // 0 and the identifier of the encoding with that name (letter case and trailing blanks do not count), or
    // NLS_NOT_KNOWN.
    int32_t (*encoding_by_name)(NLS_EXTENSION *nls, const ZKChar *name, ZKStrSize length, NLScei *encoding);
    // 1 when text can be converted from one encoding to the other, else 0.
    int32_t (*can_transcode)(NLS_EXTENSION *nls, NLScei from, NLScei to);
    // 0 and a new pipeline, or a status and null.
    int32_t (*create_pipeline)(NLS_EXTENSION *nls, NLScei from, NLScei to, TRANSPIPE **pipe);
    // The number of bytes that the text takes when converted; 0 for *converted_bytes when it cannot be.
    int32_t (*transcoded_length)(NLS_EXTENSION *nls, NLScei from, NLScei to, const char *text, int64_t length_bytes,
                                 int64_t *converted_bytes);
    // Session bytes to wide characters, at most limit_bytes of output; *length receives the wide characters stored.
    int32_t (*to_wide)(NLS_EXTENSION *nls, const char *bytes, int64_t length_bytes, ZKChar *wide, ZKMemSize limit_bytes,
                       ZKStrSize *length);
    // Wide characters to UTF-8, at most limit_bytes of output; *converted_bytes receives the bytes stored.
    int32_t (*wide_to_utf8)(NLS_EXTENSION *nls, const ZKChar *wide, ZKStrSize length, char *utf8, ZKMemSize limit_bytes,
                            int64_t *converted_bytes);
};

// The toolkit handle.
struct TOOLKIT {
    NLS_EXTENSION *nls;
};
