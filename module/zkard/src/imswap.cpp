// Byte order: reversals of any length and the floating-point forms of other machines. No path from a Stata file reaches
// what stands here.
//
// The D-floating real goes through its two logical halves here: sign and exponent, and the fraction as an integer of
// 55 bits. In memory it is four 16-bit words, the most significant one first, each with its low byte first:
//
//     byte 1, byte 0 (sign, 8 bits of exponent, 7 of fraction), byte 3, byte 2, byte 5, byte 4, byte 7, byte 6
//
// It stands for .1f times 2 to the power exponent - 128, that is 1.f times 2 to the power exponent - 129.
#include "imswap.h"

namespace {

using byte = unsigned char;

constexpr int32_t VAX_BIAS = 129; // of the form 1.f
constexpr int32_t IEEE_BIAS = 1023;
constexpr int32_t EXTENDED_BIAS = 16383;
constexpr int32_t VAX_FRACTION_BITS = 55;
constexpr int32_t IEEE_FRACTION_BITS = 52;
constexpr int32_t EXTENDED_BYTES = 10;

constexpr uint64_t low_bits(int32_t count) {
    return (uint64_t{1} << count) - 1;
}

// The bytes of a D-floating real, most significant first: where the n-th of them stands in memory.
constexpr int32_t VAX_ORDER[8] = {1, 0, 3, 2, 5, 4, 7, 6};

uint64_t load_vax(const byte *v) {
    uint64_t bits = 0;
    for (int32_t place : VAX_ORDER)
        bits = bits << 8 | v[place];
    return bits;
}

void store_vax(byte *v, bool negative, int32_t exponent, uint64_t fraction) {
    uint64_t bits = uint64_t{negative} << 63 | (static_cast<uint64_t>(exponent) & 0xFF) << VAX_FRACTION_BITS | fraction;
    for (int32_t i = 7; i >= 0; --i, bits >>= 8)
        v[VAX_ORDER[i]] = static_cast<byte>(bits);
}

uint64_t load_big_endian(const byte *bytes) {
    uint64_t bits;
    memcpy(&bits, bytes, sizeof bits);
    return __builtin_bswap64(bits);
}

void store_big_endian(byte *bytes, uint64_t bits) {
    bits = __builtin_bswap64(bits);
    memcpy(bytes, &bits, sizeof bits);
}

void reverse_bytes(void *value, int32_t len) {
    auto *bytes = static_cast<byte *>(value);
    for (int32_t i = 0; i < len / 2; ++i) {
        const byte first = bytes[i];
        bytes[i] = bytes[len - 1 - i];
        bytes[len - 1 - i] = first;
    }
}

} // namespace

void from_sun_for_length(void *value, int16_t len) {
    reverse_bytes(value, len);
}
void to_sun_for_length(void *value, int16_t len) {
    reverse_bytes(value, len);
}
void from_mac_for_length(void *value, int16_t len) {
    reverse_bytes(value, len);
}
void to_mac_for_length(void *value, int16_t len) {
    reverse_bytes(value, len);
}
void from_mac_double80(void *value) {
    reverse_bytes(value, EXTENDED_BYTES);
}

void from_mac_double80_to64(void *v, const void *p) {
    const auto *extended = static_cast<const byte *>(p);
    const int32_t exponent = (extended[0] & 0x7F) << 8 | extended[1];
    if (exponent == 0) {
        memset(v, 0, 8);
        return;
    }
    // The integer bit goes, and the lowest eight bits have no room.
    const uint64_t fraction = load_big_endian(extended + 2) >> 8 & low_bits(VAX_FRACTION_BITS);
    store_vax(static_cast<byte *>(v), (extended[0] & 0x80) != 0, exponent - (EXTENDED_BIAS - VAX_BIAS), fraction);
}

void to_mac_double80_from64(void *p, const void *v) {
    const uint64_t bits = load_vax(static_cast<const byte *>(v));
    const auto exponent = static_cast<int32_t>(bits >> VAX_FRACTION_BITS & 0xFF);
    auto *extended = static_cast<byte *>(p);
    if (exponent == 0) {
        memset(extended, 0, EXTENDED_BYTES);
        return;
    }
    const int32_t wide_exponent = exponent + (EXTENDED_BIAS - VAX_BIAS);
    extended[0] = static_cast<byte>(bits >> 63 << 7 | static_cast<uint64_t>(wide_exponent >> 8));
    extended[1] = static_cast<byte>(wide_exponent);
    store_big_endian(extended + 2, uint64_t{1} << 63 | (bits & low_bits(VAX_FRACTION_BITS)) << 8);
}

void to_vax_double(void *value) {
    const uint64_t bits = load_big_endian(static_cast<const byte *>(value));
    const auto exponent = static_cast<int32_t>(bits >> IEEE_FRACTION_BITS & 0x7FF);
    if (exponent == 0) {
        memset(value, 0, 8);
        return;
    }
    const uint64_t fraction = (bits & low_bits(IEEE_FRACTION_BITS)) << (VAX_FRACTION_BITS - IEEE_FRACTION_BITS);
    store_vax(static_cast<byte *>(value), bits >> 63 != 0, exponent - (IEEE_BIAS - VAX_BIAS), fraction);
}

void from_vax_double(void *value) {
    const uint64_t bits = load_vax(static_cast<const byte *>(value));
    const uint64_t exponent = bits >> VAX_FRACTION_BITS & 0xFF;
    if (exponent == 0) {
        memset(value, 0, 8);
        return;
    }
    const uint64_t fraction = (bits & low_bits(VAX_FRACTION_BITS)) >> (VAX_FRACTION_BITS - IEEE_FRACTION_BITS);
    store_big_endian(static_cast<byte *>(value),
                     bits >> 63 << 63 | (exponent + (IEEE_BIAS - VAX_BIAS)) << IEEE_FRACTION_BITS | fraction);
}

void pc_num10_to_8(const void *num10, void *num8) {
    const auto *extended = static_cast<const byte *>(num10);
    static constexpr byte zero[EXTENDED_BYTES] = {};
    if (extended[9] == 0xFF && extended[8] == 0xFF) {
        memset(num8, 0xFF, 8);
        return;
    }
    if (memcmp(extended, zero, sizeof zero) == 0) {
        memset(num8, 0, 8);
        return;
    }
    uint64_t significand;
    memcpy(&significand, extended, sizeof significand);
    const int32_t exponent = ((extended[9] & 0x7F) << 8 | extended[8]) - (EXTENDED_BIAS - IEEE_BIAS);
    const uint64_t negative = extended[9] >> 7;
    const uint64_t bits = negative << 63 | (static_cast<uint64_t>(exponent) & 0x7FF) << IEEE_FRACTION_BITS |
                          (significand >> 11 & low_bits(IEEE_FRACTION_BITS));
    memcpy(num8, &bits, sizeof bits);
}

void shift_pad(const void *baseptr, void *targetptr, int16_t len, int16_t base_offset) {
    const auto *from = static_cast<const byte *>(baseptr) + base_offset;
    auto *to = static_cast<byte *>(targetptr);
    for (int32_t i = len - 1; i >= 0; --i)
        to[i] = from[i];
}
