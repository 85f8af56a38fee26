// Walks the fixed head of the binary releases and the elements of the tagged ones. Every access is bounded by the
// bytes at hand.

#include "jobs/stata_head.h"

#include <algorithm>

namespace vor {
namespace {

constexpr std::string_view tagged_start = "<stata_dta><header>";

// An unsigned number of `width` bytes; 0 when the bytes end before it does.
uint64_t number_at(std::string_view bytes, size_t position, size_t width, bool big_endian) {
    if (position + width > bytes.size())
        return 0;
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        const size_t byte = big_endian ? i : width - 1 - i;
        value = value << 8 | static_cast<uint8_t>(bytes[position + byte]);
    }
    return value;
}

std::string until_zero(std::string_view field) {
    return std::string(field.substr(0, field.find('\0')));
}

StataHead read_binary_head(std::string_view bytes) {
    StataHead head;
    if (bytes.size() < 10)
        return head;
    head.release = static_cast<uint8_t>(bytes[0]);
    head.big_endian = bytes[1] == 1;
    head.observations = static_cast<int32_t>(number_at(bytes, 6, 4, head.big_endian));
    head.data_label = until_zero(bytes.substr(10, head.release >= 108 ? 81 : 32));
    return head;
}

// The content of an element of the header, from behind its opening tag; empty when it is not there.
std::string_view element(std::string_view header, std::string_view opening) {
    const size_t start = header.find(opening);
    return start == std::string_view::npos ? std::string_view{} : header.substr(start + opening.size());
}

StataHead read_tagged_head(std::string_view bytes) {
    StataHead head;
    const std::string_view release = element(bytes, "<release>").substr(0, 3);
    for (const char digit : release)
        head.release = head.release * 10 + (digit - '0');
    head.big_endian = element(bytes, "<byteorder>").substr(0, 3) == "MSF";
    head.observations =
        static_cast<int64_t>(number_at(element(bytes, "<N>"), 0, head.release < 118 ? 4 : 8, head.big_endian));
    const std::string_view label = element(bytes, "<label>");
    const size_t width = head.release < 118 ? 1 : 2;
    const size_t length = number_at(label, 0, width, head.big_endian);
    head.data_label = until_zero(label.substr(std::min(width, label.size()), length));
    return head;
}

} // namespace

StataHead read_stata_head(std::string_view bytes) {
    return bytes.starts_with(tagged_start) ? read_tagged_head(bytes) : read_binary_head(bytes);
}

} // namespace vor
