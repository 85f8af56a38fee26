// The set-up of whole files: offsets, classes and display formats by release, and what a damaged file is told.
#include "driver_file.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

// 29 bytes in a record.
StataFile all_types(int release) {
    StataFile file{.release = release};
    file.variables = {{.name = "byte", .type = Type::byte},      {.name = "short", .type = Type::int16},
                      {.name = "long", .type = Type::int32},     {.name = "float", .type = Type::float32},
                      {.name = "double", .type = Type::float64}, {.name = "text", .type = str(10), .format = "%10s"}};
    file.rows = {{1, -2, 3, 0.5, -1e100, "abc"}, {missing(), missing(), missing(), missing(), missing(), ""}};
    return file;
}

TEST(Descriptors, DisplayFormats) {
    const struct {
        int release;
        Type type;
        const char *format;
        std::int32_t innametype;
        decoder_code decoder;
        const char *name;
        std::int32_t width;
        std::int32_t decimals;
        std::int32_t unit; // innametempnum
    } rows[] = {
        {118, Type::float64, "%10.2f", CLASS_DOUBLE, DECODE_DOUBLE, "fixed", 10, 2, '0'},
        {118, Type::float64, "%9.3e", CLASS_DOUBLE, DECODE_DOUBLE, "e", 9, 0, '.'},
        {118, Type::float64, "%-9.2f", CLASS_DOUBLE, DECODE_DOUBLE, "", 0, 0, '.'},
        {118, Type::float64, "%f", CLASS_DOUBLE, DECODE_DOUBLE, "fixed", 0, 0, 0},
        {118, Type::float64, "%99999999999.1f", CLASS_DOUBLE, DECODE_DOUBLE, "fixed", 32767, 1, '9'},
        {118, Type::float64, "%", CLASS_DOUBLE, DECODE_DOUBLE, "", 0, 0, 0},
        {118, str(5), "%-12s", CLASS_CHARACTER, DECODE_TEXT, "", 0, 0, '2'},
        {118, Type::byte, "%td", CLASS_DATE, DECODE_DATE_BYTE, "mdy", 0, 0, 'd'},
        {118, Type::int32, "%-tq", CLASS_DATE, DECODE_DATE_LONG, "mdy", 0, 0, 'q'},
        {118, Type::float32, "%ty", CLASS_DATE, DECODE_DATE_FLOAT, "mdy", 0, 0, 'y'},
        {118, Type::float64, "%tC", CLASS_DATE, DECODE_DATE_DOUBLE, "mdy", 0, 0, 'C'},
        {118, Type::float64, "%tcHH:MM:SS", CLASS_TIME, DECODE_TIME_DOUBLE, "time", 0, 0, 0},
        {118, Type::float64, "%tcHH:MM", CLASS_DATETIME, DECODE_DATETIME_DOUBLE, "mdyhm", 0, 0, 0},
        {119, Type::int32, "%tcHH:MM:SS", CLASS_TIME, DECODE_TIME_LONG, "time", 0, 0, 0},
        {118, Type::int32, "%tc", CLASS_LONG, DECODE_LONG, "mdyhm", 0, 0, 0},
        {118, Type::float32, "%tcHH:MM:SS", CLASS_FLOAT, DECODE_FLOAT, "time", 0, 0, 0},
        {115, Type::float64, "%tc", CLASS_DATE, DECODE_DATE_DOUBLE, "mdy", 0, 0, 'c'},
        {105, Type::float64, "%d", CLASS_DATE, DECODE_DATE_DOUBLE, "mdy", 0, 0, 0},
        {108, Type::float64, "%dD_m_Y", CLASS_DATE, DECODE_DATE_DOUBLE, "mdy", 0, 0, 'D'},
        {108, Type::int16, "%-dm/d/y", CLASS_DATE, DECODE_DATE_SHORT, "mdy", 0, 0, 0},
        {104, Type::float64, "%d", CLASS_DOUBLE, DECODE_DOUBLE, "", 0, 0, 0},
    };
    for (const auto &row : rows) {
        StataFile file{.release = row.release};
        file.variables = {{.name = "x", .type = row.type, .format = row.format}};
        DriverFile opened(build(file));
        ASSERT_EQ(opened.set_up(), 0) << row.format << opened.message();
        const innamerecord &x = opened.variable(0);
        const std::tuple found{x.innametype,    x.innameftype,   std::string(x.innameof),
                               x.innameoutf[0], x.innameoutf[1], x.innametempnum};
        EXPECT_EQ(found, std::tuple(row.innametype, row.decoder, row.name, row.width, row.decimals, row.unit))
            << row.release << row.format;
        const bool plain_clock = row.decoder == DECODE_LONG || row.decoder == DECODE_FLOAT;
        EXPECT_EQ(opened.host.log.contains("variable x has a clock format"), plain_clock) << row.format;
    }
}

TEST(Descriptors, FieldsThatAreFull) {
    StataFile file = all_types(118);
    Offsets places;
    std::string bytes = build(file, &places);
    patch(bytes, places.at("varnames"), std::string(129, 'n'));
    patch(bytes, places.at("formats"), "%" + std::string(56, '9'));
    patch(bytes, places.at("variable_labels"), std::string(321, 'l'));
    DriverFile opened(bytes);
    ASSERT_EQ(opened.set_up(), 0) << opened.message();
    EXPECT_EQ(opened.variable(0).innamename, std::string(129, 'n'));
    EXPECT_EQ(opened.variable(0).variablename_length, 129);
    EXPECT_EQ(opened.variable(0).innamelabel, std::string(321, 'l'));
    EXPECT_EQ(opened.variable(0).variablelabel_length, 321);
    EXPECT_STREQ(opened.variable(1).innamename, "short");
}

TEST(Descriptors, DamagedFiles) {
    const struct {
        int release;
        const char *place; // where a number is put, so many bytes behind it
        std::size_t behind;
        std::uint64_t value;
        std::size_t width;
        const char *message; // a part of it
    } rows[] = {
        {115, "file_type", 0, 7, 1, "For Stata, only filetype of 1 is supported.  You had -> 7"},
        {115, "K", 0, 0x7FFF, 2, "too short for its 32767 variables: expected "},
        {115, "N", 0, 0xFFFFFFFF, 4, "-1 observations"},
        {110, "variable_types", 0, 'a', 1, "The variable byte, number 1, has the type code 97"},
        {110, "variable_types", 1, 127, 1, "The variable short, number 2, has the type code 127"},
        {117, "variable_types", 2, 2046, 2, "type code 2046"},
        {117, "variable_types", 0, 0, 2, "type code 0"},
        {118, "K", 0, 5, 2, "Didn't see end for |variable_types| element."},
        {119, "K", 0, 0x7FFFFFFF, 4, "too short for its 2147483647 variables"},
        {118, "N", 0, 1ULL << 63, 8, "-9223372036854775808 observations"},
        {118, "N", 0, 1, 8, "1 observations of 29 bytes: expected </data> at byte"},
        {118, "N", 0, 1000, 8, "too short for its 1000 observations of 29 bytes: it holds "},
        {117, "N", 0, 0x7FFFFFFF, 4, "too short for its 2147483647 observations of 29 bytes: it holds "},
        {118, "map", 8 * MAP_STRLS, ~0ULL, 8, "Entry 11 of the map of the Stata file is byte -1;"},
        {118, "map", 8 * MAP_DATA, 0, 8, "<data> not found in the stata file: |<stata| at byte 0"},
        {118, "<varnames>", 1, 'V', 1, "Didn't see the |varnames| element.  Got -> |<Varnames>|"},
    };
    for (const auto &row : rows) {
        DriverFile opened(with_number(all_types(row.release), row.place, row.value, row.width, row.behind));
        EXPECT_EQ(opened.set_up(), ERROR_INPUT_INVALID) << row.message;
        EXPECT_TRUE(opened.says(row.message)) << row.message << " in " << opened.message();
    }
}

} // namespace
} // namespace vor::test
