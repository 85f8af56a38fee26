// The host's missing values.
#include "wzmis.h"

#include <cstring>

namespace {

uint64_t bits_of(double d) {
    uint64_t bits;
    memcpy(&bits, &d, sizeof bits);
    return bits;
}

// The byte below the top two counts the kinds downwards.
constexpr int32_t KIND_UNDERSCORE = 0xFF;
constexpr int32_t KIND_A = 0xFD;
constexpr int32_t KIND_Z = KIND_A - ('Z' - 'A');

} // namespace

int32_t wzmis(double d) {
    return bits_of(d) >> 48 == 0xFFFF ? 1 : 0;
}

int32_t wzmism(double d) {
    if (wzmis(d) == 0)
        return 0;
    const auto kind = static_cast<int32_t>(bits_of(d) >> 40 & 0xFF);
    if (kind == KIND_UNDERSCORE)
        return '_';
    return kind <= KIND_A && kind >= KIND_Z ? 'A' + (KIND_A - kind) : '.';
}

int32_t wzmisl(const char *dval, int32_t len) {
    return len >= 2 && dval[len - 1] == '\xFF' && dval[len - 2] == '\xFF' ? 1 : 0;
}
