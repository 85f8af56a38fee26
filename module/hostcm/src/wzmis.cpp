// The host's missing values.
#include "wzmis.h"

#include <cstring>

namespace {

uint64_t bits_of(double d) {
    uint64_t bits;
    memcpy(&bits, &d, sizeof bits);
    return bits;
}

constexpr int32_t KIND_UNDERSCORE = -1;
constexpr int32_t KIND_A = -3;
constexpr int32_t KIND_Z = -28;
constexpr int32_t KIND_LETTER_BASE = 62; // a letter is this less its kind

} // namespace

int32_t wzmis(double d) {
    return bits_of(d) >> 48 == 0xFFFF ? 1 : 0;
}

int32_t wzmism(double d) {
    if (wzmis(d) == 0)
        return 0;
    const int32_t kind = static_cast<int8_t>(bits_of(d) >> 40 & 0xFF);
    if (kind == KIND_UNDERSCORE)
        return '_';
    return kind <= KIND_A && kind >= KIND_Z ? KIND_LETTER_BASE - kind : '.';
}

int32_t wzmisl(const char *dval, int32_t len) {
    return len >= 2 && dval[len - 1] == '\xFF' && dval[len - 2] == '\xFF' ? 1 : 0;
}
