// Pins the test builder to bytes worked out by hand from the layout: a wrong builder would teach the reader its faults.
#include "stata_file_builder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

using namespace std::string_literals;

// "67 02" as two bytes.
std::string hex(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 3) {
        bytes += static_cast<char>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16));
    }
    return bytes;
}

std::string padded(const std::string &text, std::size_t width) {
    return text + std::string(width - text.size(), '\0');
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

void expect_bytes(const StataFile &file, const std::string &expected) {
    const std::string bytes = build(file);
    const auto differ = std::ranges::mismatch(bytes, expected);
    EXPECT_TRUE(bytes == expected) << bytes.size() << " bytes, expected " << expected.size() << "; the first "
                                   << differ.in1 - bytes.begin() << " agree";
}

TEST(StataFileBuilder, Release103) {
    StataFile file{.release = 103, .order = ByteOrder::little, .data_label = "D"};
    file.variables = {{.name = "x", .type = Type::int16, .format = "%8.0g", .label = "ex", .value_label = "yn"},
                      {.name = "s", .type = str(3), .format = "%3s"},
                      {.name = "d", .type = Type::float64}};
    file.rows = {{258, "ab", 1.0}, {missing(), "abc", missing()}};
    file.value_labels = {{"yn", {{-2, "exactly8"}, {1, "yes"}}}};
    expect_bytes(file, hex("67 02 01 00 03 00 02 00 00 00") + padded("D", 32) + "i" + hex("82") + "d" + padded("x", 9) +
                           padded("s", 9) + padded("d", 9) + zeros(8) + padded("%8.0g", 7) + padded("%3s", 7) +
                           padded("%9.0g", 7) + padded("yn", 9) + zeros(18) + padded("ex", 32) + zeros(64) + //
                           hex("02 01") + padded("ab", 3) + hex("00 00 00 00 00 00 f0 3f") +                 //
                           hex("ff 7f") + "abc" + hex("00 00 00 00 00 00 c0 54") +                           //
                           hex("02 00") + padded("yn", 10) + hex("fe ff 01 00") + "exactly8" + padded("yes", 8));
}

TEST(StataFileBuilder, Release115BigEndian) {
    StataFile file{.release = 115, .order = ByteOrder::big, .timestamp = "now"};
    file.variables = {{.name = "b", .type = Type::byte},    {.name = "i", .type = Type::int16},
                      {.name = "l", .type = Type::int32},   {.name = "f", .type = Type::float32},
                      {.name = "d", .type = Type::float64}, {.name = "s", .type = str(2)}};
    file.rows = {{missing('a'), missing('z'), missing('b'), missing('a'), missing('b'), "x"},
                 {missing(), missing(), missing(), missing(), missing(), raw("\xff "s)},
                 {-1, 2, -3, 1.5, -2, ""}};
    file.characteristics = {{"_dta", "note1", "hi"}};
    file.expansion_fields = {{2, "abc"}};
    file.value_labels = {{"yn", {{-1, "no"}, {missing(), "yes"}}}};
    std::string names, formats;
    for (const Variable &variable : file.variables) {
        names += padded(variable.name, 33);
        formats += padded("%9.0g", 49);
    }
    expect_bytes(file, hex("73 01 01 00 00 06 00 00 00 03") + zeros(81) + padded("now", 18) + hex("fb fc fd fe ff 02") +
                           names + zeros(14) + formats + zeros(6 * 33 + 6 * 81) +                               //
                           hex("01 00 00 00 45") + padded("_dta", 33) + padded("note1", 33) + padded("hi", 3) + //
                           hex("02 00 00 00 03") + "abc" + zeros(5) +                                           //
                           hex("66 7f ff 7f ff ff e7 7f 00 08 00 7f e0 02 00 00 00 00 00") + padded("x", 2) +   //
                           hex("65 7f e5 7f ff ff e5 7f 00 00 00 7f e0 00 00 00 00 00 00 ff 20") +              //
                           hex("ff 00 02 ff ff ff fd 3f c0 00 00 c0 00 00 00 00 00 00 00 00 00") +              //
                           hex("00 00 00 1f") + padded("yn", 36) +                                              //
                           hex("00 00 00 02 00 00 00 07 00 00 00 00 00 00 00 03") +                             //
                           hex("ff ff ff ff 7f ff ff e5") + padded("no", 3) + padded("yes", 4));
}

TEST(StataFileBuilder, Release119) {
    StataFile file{.release = 119, .order = ByteOrder::little, .data_label = "D"};
    file.variables = {{.name = "l", .type = Type::strl}, {.name = "i", .type = Type::int16, .value_label = "yn"}};
    file.rows = {{"", -3}, {"hi", missing('a')}};
    file.characteristics = {{"i", "c", "hi"}};
    file.value_labels = {{"yn", {{1, "yes"}}}};
    std::string map;
    for (const int at : {0, 144, 267, 304, 583, 616, 749, 1046, 1723, 2032, 2065, 2103, 2299, 2311})
        map += std::string{static_cast<char>(at), static_cast<char>(at >> 8)} + zeros(6);
    expect_bytes(file,
                 "<stata_dta><header><release>119</release><byteorder>LSF</byteorder><K>" + hex("02 00 00 00") +
                     "</K><N>" + hex("02 00 00 00 00 00 00 00") + "</N><label>" + hex("01 00") +
                     "D</label><timestamp>" + zeros(1) + "</timestamp></header><map>" + map + "</map><variable_types>" +
                     hex("00 80 f9 ff") + "</variable_types><varnames>" + padded("l", 129) + padded("i", 129) +
                     "</varnames><sortlist>" + zeros(12) + "</sortlist><formats>" + padded("%9.0g", 57) +
                     padded("%9.0g", 57) + "</formats><value_label_names>" + zeros(129) + padded("yn", 129) +
                     "</value_label_names><variable_labels>" + zeros(642) + "</variable_labels><characteristics><ch>" +
                     hex("05 01 00 00") + padded("i", 129) + padded("c", 129) + padded("hi", 3) +
                     "</ch></characteristics><data>" + zeros(8) + hex("fd ff") + hex("01 00 00 02 00 00 00 00 e6 7f") +
                     "</data><strls>GSO" + hex("01 00 00 00 02 00 00 00 00 00 00 00 82 03 00 00 00") + padded("hi", 3) +
                     "</strls><value_labels><lbl>" + hex("14 00 00 00") + padded("yn", 132) +
                     hex("01 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00") + padded("yes", 4) +
                     "</lbl></value_labels></stata_dta>");
}

} // namespace
} // namespace vor::test
