#include "tables/text_input.h"

#include <vorhost/error.h>

#include <fmt/format.h>
#include <new>
#include <unicode/ucnv.h>

namespace vor {
namespace {

constexpr size_t piece_bytes = 1 << 16;
constexpr size_t piece_units = 1 << 12;

} // namespace

TextInput::TextInput(InputFile &file, const std::string &encoding) : file_(file), encoding_(encoding) {
    if (encoding.empty())
        return;
    Encodings encodings("utf-8");
    const NLScei known = encodings.by_name(encoding);
    if (known == 0)
        throw ConversionError(Failure::usage, fmt::format("The encoding {} is not known.", encoding));
    from_ = encodings.converter(known);
    to_ = encodings.converter(encodings.utf8());
    if (!from_ || !to_)
        throw std::bad_alloc();
    bytes_.resize(piece_bytes);
    units_.resize(piece_units);
    unit_at_ = unit_end_ = units_.data();
}

void TextInput::rewind() {
    file_.rewind();
    at_ = end_ = 0;
    read_bytes_ = 0;
    at_end_ = false;
    if (!from_)
        return;
    unit_at_ = unit_end_ = units_.data();
    ucnv_reset(from_.get());
    ucnv_reset(to_.get());
}

// The converters keep what belongs to a character whose other bytes are still to come, or find no room.
size_t TextInput::read(std::span<char> buffer) {
    if (!from_)
        return file_.read(buffer);
    for (;;) {
        if (at_ == end_ && !at_end_) {
            end_ = file_.read(bytes_);
            at_ = 0;
            read_bytes_ += end_;
            at_end_ = end_ == 0;
        }
        const size_t made = decode(buffer);
        if (made != 0 || at_end_)
            return made;
    }
}

size_t TextInput::decode(std::span<char> buffer) {
    char *out = buffer.data();
    const char *in = bytes_.data() + at_;
    UErrorCode error = U_ZERO_ERROR;
    ucnv_convertEx(to_.get(), from_.get(), &out, out + buffer.size(), &in, bytes_.data() + end_, units_.data(),
                   &unit_at_, &unit_end_, units_.data() + units_.size(), false, static_cast<UBool>(at_end_ ? 1 : 0),
                   &error);
    at_ = static_cast<size_t>(in - bytes_.data());
    if (error == U_MEMORY_ALLOCATION_ERROR)
        throw std::bad_alloc();
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR)
        throw ConversionError(Failure::conversion, fmt::format("{} holds bytes that are not {}, near byte {}.", name(),
                                                               encoding_, read_bytes_ - (end_ - at_)));
    return static_cast<size_t>(out - buffer.data());
}

} // namespace vor
