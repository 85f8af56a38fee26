#include "services/strings_and_numbers.h"

#include "text/characters.h"
#include "text/encodings.h"

#include <vorhost/missing.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <span>

namespace vor::services {
namespace {

constexpr uint64_t SIGN = uint64_t{1} << 63;
constexpr double SECONDS_FROM_1960_TO_1970 = 3653.0 * 86400;

} // namespace

void to_collating(double value, uint8_t *collating) {
    auto bits = std::bit_cast<uint64_t>(value);
    if (bits == SIGN)
        bits = 0;
    bits ^= (bits & SIGN) != 0 ? ~uint64_t{0} : SIGN;
    for (int byte = 7; byte >= 0; --byte, bits >>= 8)
        collating[byte] = static_cast<uint8_t>(bits);
}

double from_collating(const uint8_t *collating) {
    uint64_t bits = 0;
    for (int byte = 0; byte < 8; ++byte)
        bits = bits << 8 | collating[byte];
    bits ^= (bits & SIGN) != 0 ? SIGN : ~uint64_t{0};
    return std::bit_cast<double>(bits);
}

double seconds_since_1960() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count();
    return static_cast<double>(milliseconds) / 1000 + SECONDS_FROM_1960_TO_1970;
}

namespace {

std::span<char> field(char *text, int32_t length) {
    return {text, static_cast<size_t>(std::max(length, 0))};
}

} // namespace

void StringsAndNumbers::wzstrup(char *text, int32_t length) const {
    to_upper_case(encodings, field(text, length));
}

void StringsAndNumbers::wzstrlo(char *text, int32_t length) const {
    to_lower_case(encodings, field(text, length));
}

// The session's text needs no other form on its way out and in: both directions copy.
int32_t StringsAndNumbers::wzsxcch(const char *source, char *target, int32_t length) {
    if (length > 0)
        std::memmove(target, source, static_cast<size_t>(length));
    return 0;
}

int32_t StringsAndNumbers::wzsxrch(const char *source, char *target, int32_t length) {
    return wzsxcch(source, target, length);
}

int32_t StringsAndNumbers::wztxcnm(NLScei encoding, char *name, int32_t limit, int32_t *length) const {
    *length = 0;
    if (!encodings.known(encoding))
        return NLS_NOT_KNOWN;
    const std::string &text = encodings.name(encoding);
    *length = static_cast<int32_t>(text.copy(name, static_cast<size_t>(std::max(limit, 0))));
    return 0;
}

void StringsAndNumbers::wzrsdbl(const uint8_t *collating, double *value) {
    *value = from_collating(collating);
}

void StringsAndNumbers::wzcsdbl(const double *value, uint8_t *collating) {
    to_collating(*value, collating);
}

// The stored bytes of a shortened number are its most significant ones, the least significant of them first.
void StringsAndNumbers::wzrftrc(const char *stored, int32_t length, double *value) {
    *value = missing_value('.');
    if (length < 2 || length > 8)
        return;
    uint64_t bits = 0;
    std::memcpy(reinterpret_cast<char *>(&bits) + (8 - length), stored, static_cast<size_t>(length));
    *value = std::bit_cast<double>(bits);
}

double StringsAndNumbers::zdattim() {
    return seconds_since_1960();
}

} // namespace vor::services
