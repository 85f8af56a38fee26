// Byte order: reversals by width and the floating-point forms, against bytes worked out by hand.
#include "imswap.h"

#include <algorithm>
#include <array>
#include <bit>
#include <gtest/gtest.h>
#include <string>

namespace {

using Bytes = std::basic_string<unsigned char>;

Bytes bytes(std::initializer_list<int> list) {
    Bytes made;
    for (int byte : list)
        made.push_back(static_cast<unsigned char>(byte));
    return made;
}

TEST(ByteOrder, EveryRoutineReversesItsWidth) {
    const struct {
        std::size_t width;
        std::initializer_list<void (*)(void *)> routines;
    } rows[] = {
        {2, {from_sun_short, to_sun_short, from_mac_short, to_mac_short, from_vax_short}},
        {4,
         {from_sun_long, to_sun_long, from_sun_float, to_sun_float, from_mac_long, to_mac_long, from_mac_float,
          to_mac_float, from_vax_long}},
        {8, {from_sun_double, to_sun_double, from_sun_long8, to_sun_long8, from_mac_double64, to_mac_double64}},
        {10, {from_mac_double80}},
    };
    for (const auto &[width, routines] : rows) {
        for (const auto routine : routines) {
            // One byte in front, so that the value is not aligned, and one behind.
            Bytes buffer = bytes({0xEE, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xEE});
            Bytes expected = buffer;
            std::reverse(expected.begin() + 1, expected.begin() + 1 + static_cast<std::ptrdiff_t>(width));
            routine(buffer.data() + 1);
            EXPECT_EQ(buffer, expected) << width;
        }
    }
}

// A value as a D-floating real and as an 80-bit extended real with the most significant byte first; its IEEE form is
// the compiler's. No fraction has more than 52 bits, so every conversion is exact.
const struct {
    double value;
    Bytes vax, extended;
} SAME_VALUE[] = {
    {0.0, bytes({0, 0, 0, 0, 0, 0, 0, 0}), bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0})},
    {1.0, bytes({0x80, 0x40, 0, 0, 0, 0, 0, 0}), bytes({0x3F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0})},
    {-2.5, bytes({0x20, 0xC1, 0, 0, 0, 0, 0, 0}), bytes({0xC0, 0x00, 0xA0, 0, 0, 0, 0, 0, 0, 0})},
    {0x1.23456789ABCDEp+10, bytes({0x91, 0x45, 0xB3, 0xA2, 0xD5, 0xC4, 0xF0, 0xE6}),
     bytes({0x40, 0x09, 0x91, 0xA2, 0xB3, 0xC4, 0xD5, 0xE6, 0xF0, 0x00})},
    {1.5e38, bytes({0xE1, 0x7F, 0xE5, 0xB1, 0x0F, 0xF9, 0x50, 0x94}),
     bytes({0x40, 0x7D, 0xE1, 0xB1, 0xE5, 0xF9, 0x0F, 0x94, 0x50, 0x00})},
};

Bytes reversed(Bytes forward) {
    return {forward.rbegin(), forward.rend()};
}

TEST(ByteOrder, FloatingForms) {
    for (const auto &same : SAME_VALUE) {
        SCOPED_TRACE(same.value);
        const auto native = std::bit_cast<std::array<unsigned char, 8>>(same.value);
        const Bytes ieee = reversed(Bytes(native.begin(), native.end()));

        Bytes converted = ieee;
        to_vax_double(converted.data());
        EXPECT_EQ(converted, same.vax);
        from_vax_double(converted.data());
        EXPECT_EQ(converted, ieee);

        Bytes extended(10, 0xEE);
        to_mac_double80_from64(extended.data(), same.vax.data());
        EXPECT_EQ(extended, same.extended);
        from_mac_double80_to64(converted.data(), same.extended.data());
        EXPECT_EQ(converted, same.vax);

        double from_pc = -1;
        pc_num10_to_8(reversed(same.extended).data(), &from_pc);
        EXPECT_EQ(from_pc, same.value);
    }
}

TEST(ByteOrder, FloatingFormsCutWhatHasNoRoom) {
    // The lowest three bits of the D-floating fraction, and those of the extended significand below the double's.
    Bytes vax = bytes({0x80, 0x40, 0, 0, 0, 0, 0x07, 0});
    from_vax_double(vax.data());
    EXPECT_EQ(vax, bytes({0x3F, 0xF0, 0, 0, 0, 0, 0, 0}));
    Bytes extended = bytes({0x3F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0x01, 0xFF});
    Bytes cut(8, 0xEE);
    from_mac_double80_to64(cut.data(), extended.data());
    EXPECT_EQ(cut, bytes({0x80, 0x40, 0, 0, 0, 0, 0x01, 0}));
    Bytes pc = bytes({0xFF, 0x07, 0, 0, 0, 0, 0, 0x80, 0xFF, 0x3F});
    double value = 0;
    pc_num10_to_8(pc.data(), &value);
    EXPECT_EQ(value, 1.0);
    // A missing value of the PC form.
    pc[8] = pc[9] = 0xFF;
    pc_num10_to_8(pc.data(), cut.data());
    EXPECT_EQ(cut, Bytes(8, 0xFF));
}

TEST(ByteOrder, ShiftWithinABuffer) {
    Bytes buffer = bytes({1, 2, 3, 4, 0, 0});
    shift_pad(buffer.data(), buffer.data() + 3, 3, 1);
    EXPECT_EQ(buffer, bytes({1, 2, 3, 2, 3, 4}));
    shift_pad(buffer.data(), buffer.data() + 1, -1, 3);
    EXPECT_EQ(buffer, bytes({1, 2, 3, 2, 3, 4}));
}

} // namespace
