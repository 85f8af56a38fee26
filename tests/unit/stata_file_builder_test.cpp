// Pins the test builder to bytes worked out by hand from the layout: a wrong builder would teach the reader its faults.
#include "stata_file_builder.h"

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

// A map of positions below 65536.
std::string map_of(const std::vector<unsigned> &positions, ByteOrder order) {
    std::string map;
    for (const unsigned position : positions) {
        const char high = static_cast<char>(position >> 8);
        const char low = static_cast<char>(position & 0xFF);
        map += order == ByteOrder::little ? std::string{low, high} + zeros(6) : zeros(6) + std::string{high, low};
    }
    return "<map>" + map + "</map>";
}

void expect_bytes(const StataFile &file, const std::string &expected) {
    const std::string bytes = build(file);
    std::size_t same = 0;
    while (same < bytes.size() && same < expected.size() && bytes[same] == expected[same]) {
        ++same;
    }
    EXPECT_TRUE(bytes == expected) << bytes.size() << " bytes, expected " << expected.size() << "; the first " << same
                                   << " agree";
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

TEST(StataFileBuilder, Release110BigEndian) {
    StataFile file{.release = 110, .order = ByteOrder::big, .data_label = "D", .timestamp = "now"};
    file.variables = {{.name = "f", .type = Type::float32},
                      {.name = "d", .type = Type::float64},
                      {.name = "b", .type = Type::byte, .value_label = "yn"}};
    file.rows = {{1.5, -2, -1}, {missing(), missing(), missing()}};
    file.value_labels = {{"yn", {{-1, "no"}, {missing(), "yes"}}}};
    file.expansion_fields = {{2, "abc"}};
    expect_bytes(file, hex("6e 01 01 00 00 03 00 00 00 02") + padded("D", 81) + padded("now", 18) + "fdb" +
                           padded("f", 33) + padded("d", 33) + padded("b", 33) + zeros(8) + padded("%9.0g", 12) +
                           padded("%9.0g", 12) + padded("%9.0g", 12) + zeros(66) + padded("yn", 33) + zeros(243) +
                           hex("02 00 00 00 03") + "abc" + zeros(5) +               //
                           hex("3f c0 00 00 c0 00 00 00 00 00 00 00 ff") +          //
                           hex("7f 00 00 00 7f e0 00 00 00 00 00 00 7f") +          //
                           hex("00 00 00 1f") + padded("yn", 36) +                  //
                           hex("00 00 00 02 00 00 00 07 00 00 00 00 00 00 00 03") + //
                           hex("ff ff ff ff 7f ff ff ff") + padded("no", 3) + padded("yes", 4));
}

TEST(StataFileBuilder, Release115BigEndian) {
    StataFile file{.release = 115, .order = ByteOrder::big};
    file.variables = {{.name = "b", .type = Type::byte},    {.name = "i", .type = Type::int16},
                      {.name = "l", .type = Type::int32},   {.name = "f", .type = Type::float32},
                      {.name = "d", .type = Type::float64}, {.name = "s", .type = str(2)}};
    file.rows = {{missing('a'), missing('z'), missing('b'), missing('a'), missing('b'), "x"},
                 {missing(), missing(), missing(), missing(), missing(), raw("\xff "s)}};
    file.characteristics = {{"_dta", "note1", "hi"}};
    std::string formats;
    for (int i = 0; i < 6; ++i) {
        formats += padded("%9.0g", 49);
    }
    std::string names;
    for (const char *name : {"b", "i", "l", "f", "d", "s"}) {
        names += padded(name, 33);
    }
    expect_bytes(file, hex("73 01 01 00 00 06 00 00 00 02") + zeros(81 + 18) + hex("fb fc fd fe ff 02") + names +
                           zeros(14) + formats + zeros(6 * 33 + 6 * 81) +                                       //
                           hex("01 00 00 00 45") + padded("_dta", 33) + padded("note1", 33) + padded("hi", 3) + //
                           zeros(5) +                                                                           //
                           hex("66 7f ff 7f ff ff e7 7f 00 08 00 7f e0 02 00 00 00 00 00") + padded("x", 2) +   //
                           hex("65 7f e5 7f ff ff e5 7f 00 00 00 7f e0 00 00 00 00 00 00 ff 20"));
}

TEST(StataFileBuilder, Release117) {
    StataFile file{.release = 117, .order = ByteOrder::little, .data_label = "D"};
    file.variables = {{.name = "b", .type = Type::byte, .value_label = "yn"}, {.name = "l", .type = Type::strl}};
    file.rows = {{1, ""}, {missing('z'), "hi"}};
    file.value_labels = {{"yn", {{1, "yes"}}}};
    file.characteristics = {{"b", "c", "hi"}};
    expect_bytes(
        file, "<stata_dta><header><release>117</release><byteorder>LSF</byteorder><K>" + hex("02 00") + "</K><N>" +
                  hex("02 00 00 00") + "</N><label>" + hex("01") + "D</label><timestamp>" + zeros(1) +
                  "</timestamp></header>" +
                  map_of({0, 137, 260, 297, 384, 411, 528, 633, 830, 947, 978, 1012, 1112, 1124}, ByteOrder::little) +
                  "<variable_types>" + hex("fa ff 00 80") + "</variable_types><varnames>" + padded("b", 33) +
                  padded("l", 33) + "</varnames><sortlist>" + zeros(6) + "</sortlist><formats>" + padded("%9.0g", 49) +
                  padded("%9.0g", 49) + "</formats><value_label_names>" + padded("yn", 66) +
                  "</value_label_names><variable_labels>" + zeros(162) + "</variable_labels><characteristics><ch>" +
                  hex("45 00 00 00") + padded("b", 33) + padded("c", 33) + padded("hi", 3) +
                  "</ch></characteristics><data>" + hex("01 00 00 00 00 00 00 00 00") +
                  hex("7f 02 00 00 00 02 00 00 00") + "</data><strls>GSO" +
                  hex("02 00 00 00 02 00 00 00 82 03 00 00 00") + padded("hi", 3) + "</strls><value_labels><lbl>" +
                  hex("14 00 00 00") + padded("yn", 36) + hex("01 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00") +
                  padded("yes", 4) + "</lbl></value_labels></stata_dta>");
}

TEST(StataFileBuilder, Release118BigEndian) {
    StataFile file{.release = 118, .order = ByteOrder::big, .data_label = "D"};
    file.variables = {{.name = "l", .type = Type::strl}};
    file.rows = {{binary("\0\xff"s)}, {reference(1, 1)}, {""}};
    expect_bytes(
        file, "<stata_dta><header><release>118</release><byteorder>MSF</byteorder><K>" + hex("00 01") + "</K><N>" +
                  hex("00 00 00 00 00 00 00 03") + "</N><label>" + hex("00 01") + "D</label><timestamp>" + zeros(1) +
                  "</timestamp></header>" +
                  map_of({0, 142, 265, 300, 450, 475, 551, 719, 1075, 1110, 1147, 1184, 1213, 1225}, ByteOrder::big) +
                  "<variable_types>" + hex("80 00") + "</variable_types><varnames>" + padded("l", 129) +
                  "</varnames><sortlist>" + zeros(4) + "</sortlist><formats>" + padded("%9.0g", 57) +
                  "</formats><value_label_names>" + zeros(129) + "</value_label_names><variable_labels>" + zeros(321) +
                  "</variable_labels><characteristics></characteristics><data>" + hex("00 01 00 00 00 00 00 01") +
                  hex("00 01 00 00 00 00 00 01") + zeros(8) + "</data><strls>GSO" +
                  hex("00 00 00 01 00 00 00 00 00 00 00 01 81 00 00 00 02") + hex("00 ff") +
                  "</strls><value_labels></value_labels></stata_dta>");
}

TEST(StataFileBuilder, Release119) {
    StataFile file{.release = 119, .order = ByteOrder::little};
    file.variables = {{.name = "l", .type = Type::strl}, {.name = "i", .type = Type::int16}};
    file.rows = {{"", -3}, {"hi", missing('a')}};
    expect_bytes(file, "<stata_dta><header><release>119</release><byteorder>LSF</byteorder><K>" + hex("02 00 00 00") +
                           "</K><N>" + hex("02 00 00 00 00 00 00 00") + "</N><label>" + zeros(2) +
                           "</label><timestamp>" + zeros(1) + "</timestamp></header>" +
                           map_of({0, 143, 266, 303, 582, 615, 748, 1045, 1722, 1757, 1790, 1828, 1857, 1869},
                                  ByteOrder::little) +
                           "<variable_types>" + hex("00 80 f9 ff") + "</variable_types><varnames>" + padded("l", 129) +
                           padded("i", 129) + "</varnames><sortlist>" + zeros(12) + "</sortlist><formats>" +
                           padded("%9.0g", 57) + padded("%9.0g", 57) + "</formats><value_label_names>" + zeros(258) +
                           "</value_label_names><variable_labels>" + zeros(642) +
                           "</variable_labels><characteristics></characteristics><data>" + zeros(8) + hex("fd ff") +
                           hex("01 00 00 02 00 00 00 00 e6 7f") + "</data><strls>GSO" +
                           hex("01 00 00 00 02 00 00 00 00 00 00 00 82 03 00 00 00") + padded("hi", 3) +
                           "</strls><value_labels></value_labels></stata_dta>");
}

// Offsets are what hostile files are made with: each must point at what its name says.
TEST(StataFileBuilder, OffsetsPointAtWhatTheyName) {
    StataFile file{.release = 117, .order = ByteOrder::big};
    file.variables = {{.name = "b", .type = Type::byte, .value_label = "yn"}, {.name = "l", .type = Type::strl}};
    file.rows = {{1, "hi"}};
    file.value_labels = {{"first", {{5, "x"}}}, {"yn", {{1, "yes"}}}};
    file.extra_strls = {{9, 7, 129, "raw"}};
    Offsets offsets;
    const std::string bytes = build(file, &offsets);
    const struct {
        const char *name;
        std::string expected;
    } rows[] = {
        {"K", hex("00 02")},
        {"N", hex("00 00 00 01")},
        {"byte_order", "MSF"},
        {"<varnames>", "<varnames>"},
        {"varnames", padded("b", 33)},
        {"data", hex("01 00 00 00 02 00 00 00 01")},
        {"</data>", "</data>"},
        {"gso[1]", "GSO"},
        {"gso[1].variable", hex("00 00 00 09")},
        {"gso[1].observation", hex("00 00 00 07")},
        {"gso[1].type", hex("81")},
        {"gso[1].length", hex("00 00 00 03") + "raw</strls>"},
        {"value_labels[1].length", hex("00 00 00 14")},
        {"value_labels[1].name", "yn"},
        {"value_labels[1].text_bytes", hex("00 00 00 04")},
        {"value_labels[1].values", hex("00 00 00 01")},
        {"value_labels[1].texts", "yes"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(bytes.substr(offsets.at(row.name), row.expected.size()), row.expected) << row.name;
    }
    EXPECT_EQ(offsets.at("end"), bytes.size());
    EXPECT_EQ(record_bytes(file), 9U);
}

} // namespace
} // namespace vor::test
