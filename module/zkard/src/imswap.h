// Byte order: conversions in the caller's buffer between this machine's order (least significant byte first) and the
// numbers of other machines. sun is IEEE with the most significant byte first, mac the same plus an 80-bit extended
// real, vax the D-floating real, pc the 80-bit extended real with the least significant byte first.
//
// Nothing checks the range of an exponent: a value outside the target's range keeps the low bits of its exponent.
// Buffers need no alignment.
//
// A Stata file needs from_sun_short, from_sun_long, from_sun_double and from_sun_long8; no path reaches the others,
// which are for drivers of other files.
#pragma once

#include <cstdint>
#include <cstring>

inline void reverse_2_bytes(void *value) {
    uint16_t bits;
    memcpy(&bits, value, sizeof bits);
    bits = __builtin_bswap16(bits);
    memcpy(value, &bits, sizeof bits);
}

inline void reverse_4_bytes(void *value) {
    uint32_t bits;
    memcpy(&bits, value, sizeof bits);
    bits = __builtin_bswap32(bits);
    memcpy(value, &bits, sizeof bits);
}

inline void reverse_8_bytes(void *value) {
    uint64_t bits;
    memcpy(&bits, value, sizeof bits);
    bits = __builtin_bswap64(bits);
    memcpy(value, &bits, sizeof bits);
}

// 2-byte integers: the other byte order.
inline void from_sun_short(void *value) {
    reverse_2_bytes(value);
}
inline void to_sun_short(void *value) {
    reverse_2_bytes(value);
}
inline void from_mac_short(void *value) {
    reverse_2_bytes(value);
}
inline void to_mac_short(void *value) {
    reverse_2_bytes(value);
}
inline void from_vax_short(void *value) {
    reverse_2_bytes(value);
}

// 4-byte integers and IEEE singles: the other byte order.
inline void from_sun_long(void *value) {
    reverse_4_bytes(value);
}
inline void to_sun_long(void *value) {
    reverse_4_bytes(value);
}
inline void from_sun_float(void *value) {
    reverse_4_bytes(value);
}
inline void to_sun_float(void *value) {
    reverse_4_bytes(value);
}
inline void from_mac_long(void *value) {
    reverse_4_bytes(value);
}
inline void to_mac_long(void *value) {
    reverse_4_bytes(value);
}
inline void from_mac_float(void *value) {
    reverse_4_bytes(value);
}
inline void to_mac_float(void *value) {
    reverse_4_bytes(value);
}
inline void from_vax_long(void *value) {
    reverse_4_bytes(value);
}

// 8-byte integers and IEEE doubles: the other byte order.
inline void from_sun_double(void *value) {
    reverse_8_bytes(value);
}
inline void to_sun_double(void *value) {
    reverse_8_bytes(value);
}
inline void from_sun_long8(void *value) {
    reverse_8_bytes(value);
}
inline void to_sun_long8(void *value) {
    reverse_8_bytes(value);
}
inline void from_mac_double64(void *value) {
    reverse_8_bytes(value);
}
inline void to_mac_double64(void *value) {
    reverse_8_bytes(value);
}

// Any field of len bytes, and the 10-byte extended real: the bytes in reverse. A len below 2 changes nothing.
void from_sun_for_length(void *value, int16_t len);
void to_sun_for_length(void *value, int16_t len);
void from_mac_for_length(void *value, int16_t len);
void to_mac_for_length(void *value, int16_t len);
void from_mac_double80(void *value);

// An 80-bit extended real, most significant byte first (10 bytes), to and from a VAX D-floating real (8 bytes). The
// areas must not overlap. The fraction is cut, not rounded; a zero exponent gives zero.
void from_mac_double80_to64(void *v, const void *p);
void to_mac_double80_from64(void *p, const void *v);

// An IEEE double, most significant byte first, to and from a VAX D-floating real, in place (8 bytes). The fraction is
// cut, not rounded; a zero exponent gives zero.
void to_vax_double(void *value);
void from_vax_double(void *value);

// A PC 80-bit extended real (10 bytes) to an IEEE double, both least significant byte first. The areas must not
// overlap. The fraction is cut, not rounded; an extended real whose top two bytes are 255 gives eight bytes of 255.
void pc_num10_to_8(const void *num10, void *num8);

// Copies len bytes from baseptr + base_offset to targetptr, the last byte first, so that a move to a higher address
// within one buffer is safe. A len of 0 or less copies nothing.
void shift_pad(const void *baseptr, void *targetptr, int16_t len, int16_t base_offset);
