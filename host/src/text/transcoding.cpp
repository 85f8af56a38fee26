#include "text/transcoding.h"

#include "text/utf8.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <unicode/ucnv.h>

namespace vor {
namespace {

constexpr size_t PIECE_UNITS = 1024;            // UTF-16 units that are converted at a time
constexpr size_t PIECE_BYTES = 8 * PIECE_UNITS; // more than they can take in any encoding

int32_t status_of_input(UErrorCode error) {
    return error == U_MEMORY_ALLOCATION_ERROR ? NLS_NO_MEMORY : NLS_BAD_INPUT;
}

int32_t status_of_output(UErrorCode error) {
    switch (error) {
    case U_INVALID_CHAR_FOUND:
        return NLS_NO_MAPPING;
    case U_MEMORY_ALLOCATION_ERROR:
        return NLS_NO_MEMORY;
    default:
        return NLS_BAD_INPUT;
    }
}

int32_t transcode(TRANSPIPE *pipe, const char *input, int64_t length_bytes, char *output, int64_t limit_bytes,
                  int64_t *converted_bytes, std::string &scratch) {
    scratch.clear();
    const std::string_view text(input, static_cast<size_t>(std::max<int64_t>(length_bytes, 0)));
    const int32_t status = static_cast<Transcoding *>(pipe)->convert(text, limit_bytes, scratch);
    std::memcpy(output, scratch.data(), scratch.size());
    *converted_bytes = static_cast<int64_t>(scratch.size());
    return status;
}

} // namespace

Transcoding::Transcoding(Converter from, Converter to, bool same, bool both_transparent)
    : TRANSPIPE{}, from_(std::move(from)), to_(std::move(to)), same_(same), both_transparent_(both_transparent) {
    TRANSPIPE::Transcode = [](TRANSPIPE *pipe, const char *input, int64_t length_bytes, char *output,
                              int64_t limit_bytes, int64_t *converted_bytes, int32_t) {
        auto *self = static_cast<Transcoding *>(pipe);
        if (self->same_ && length_bytes >= 0 && length_bytes <= limit_bytes) {
            std::memcpy(output, input, static_cast<size_t>(length_bytes));
            *converted_bytes = length_bytes;
            return NLS_OK;
        }
        return transcode(pipe, input, length_bytes, output, limit_bytes, converted_bytes, self->output_);
    };
    TRANSPIPE::destroy = [](TRANSPIPE *pipe) { delete static_cast<Transcoding *>(pipe); };
}

int32_t Transcoding::convert(std::string_view text, int64_t limit_bytes, std::string &converted) {
    const auto limit = static_cast<size_t>(std::max<int64_t>(limit_bytes, 0));
    const size_t plain = same_ ? text.size() : both_transparent_ ? ascii_prefix(text) : 0;
    if (plain == text.size()) {
        const size_t bytes = same_ ? whole_characters(text, limit) : std::min(limit, text.size());
        converted.append(text.substr(0, bytes));
        return bytes < text.size() ? NLS_TRUNCATED : NLS_OK;
    }
    ucnv_reset(from_.get());
    ucnv_reset(to_.get());
    const char *from = text.data();
    const size_t start = converted.size();
    while (from < text.data() + text.size()) {
        const int32_t status =
            convert_piece(from, text.data() + text.size(), limit - (converted.size() - start), converted);
        if (status != NLS_OK)
            return status;
    }
    return NLS_OK;
}

// The bytes up to a limit, without the first part of a character that the limit goes through.
size_t Transcoding::whole_characters(std::string_view text, size_t limit) {
    if (limit >= text.size() || ucnv_getMaxCharSize(from_.get()) == 1)
        return std::min(limit, text.size());
    ucnv_reset(from_.get());
    const char *at = text.data();
    size_t whole = 0;
    UErrorCode error = U_ZERO_ERROR;
    while (static_cast<size_t>(at - text.data()) <= limit) {
        whole = static_cast<size_t>(at - text.data());
        ucnv_getNextUChar(from_.get(), &at, text.data() + text.size(), &error);
        if (U_FAILURE(error)) {
            error = U_ZERO_ERROR;
            ucnv_reset(from_.get());
        }
    }
    return whole;
}

// Converts up to one piece of units and appends at most `limit` bytes of the result.
int32_t Transcoding::convert_piece(const char *&from, const char *end, size_t limit, std::string &converted) {
    std::array<UChar, PIECE_UNITS> units;
    UErrorCode input_error = U_ZERO_ERROR;
    UChar *unit_end = units.data();
    ucnv_toUnicode(from_.get(), &unit_end, units.data() + units.size(), &from, end, nullptr, true, &input_error);
    const bool more = input_error == U_BUFFER_OVERFLOW_ERROR;
    std::array<char, PIECE_BYTES> bytes;
    std::array<int32_t, PIECE_BYTES> units_of_bytes;
    UErrorCode output_error = U_ZERO_ERROR;
    char *byte_end = bytes.data();
    const UChar *unit = units.data();
    const UBool last = !more && U_SUCCESS(input_error) ? 1 : 0;
    ucnv_fromUnicode(to_.get(), &byte_end, bytes.data() + bytes.size(), &unit, unit_end, units_of_bytes.data(), last,
                     &output_error);
    size_t made = static_cast<size_t>(byte_end - bytes.data());
    const bool cut = made > limit;
    if (cut) {
        made = limit;
        while (made > 0 && units_of_bytes[made] == units_of_bytes[made - 1])
            --made;
    }
    converted.append(bytes.data(), made);
    if (cut)
        return NLS_TRUNCATED;
    if (U_FAILURE(output_error))
        return status_of_output(output_error);
    return U_FAILURE(input_error) && !more ? status_of_input(input_error) : NLS_OK;
}

} // namespace vor
