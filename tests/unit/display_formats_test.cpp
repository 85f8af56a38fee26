// Display formats in both directions.
#include "imglue_export.h"
#include "imglue_import.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

struct Format {
    std::string name;
    int width = 0, decimals = 0;
    friend bool operator==(const Format &, const Format &) = default;
    friend std::ostream &operator<<(std::ostream &out, const Format &format) {
        return out << format.name << " " << format.width << "." << format.decimals;
    }
};

Format stored(const char *area, std::int16_t length, std::int16_t width, std::int16_t decimals) {
    EXPECT_EQ(std::string(area + length, area + 8), std::string(static_cast<std::size_t>(8 - length), ' '));
    return {std::string(area, area + length), width, decimals};
}

TEST(ImportFormats, DriverNamesBecomeHostFormats) {
    const struct {
        std::int32_t type;
        Format input, display, host_input, host_display;
    } cases[] = {
        // What a Stata file gives.
        {CLASS_DATE, {}, {"mdy", 8}, {}, {"MMDDYY", 8}},
        {CLASS_DOUBLE, {}, {"fixed", 9, 2}, {}, {"", 9, 2}},
        {CLASS_DOUBLE, {}, {"fixed", 3, 5}, {}, {"", 9, 5}},
        {CLASS_DOUBLE, {}, {"e", 0}, {}, {"E", 12}},
        {CLASS_DOUBLE, {}, {}, {}, {}},
        {CLASS_CHARACTER, {}, {"fixed", 9, 2}, {"$", 21}, {"$", 21}},
        {CLASS_CHARACTER, {"x", 3, 1}, {"$upcase", 5}, {"$", 21}, {"$UPCASE", 5}},
        // Widths.
        {CLASS_DOUBLE, {"datehm", 0}, {"datehm", 0}, {"DATETIME", 18}, {"DATETIME", 16}},
        {CLASS_DOUBLE, {"mdyhm", 5}, {"datehm", 5}, {"DATETIME", 10}, {"DATETIME", 10}},
        {CLASS_DOUBLE, {"datehm", 41}, {"datehm", 45}, {"DATETIME", 50}, {"DATETIME", 50}},
        {CLASS_DOUBLE, {"dmy", 0}, {"dmy", 11}, {"DDMMYY", 10}, {"DDMMYY", 10}},
        {CLASS_DOUBLE, {"mdy", 1}, {"ymd", 0}, {"MMDDYY", 2}, {"YYMMDD", 10}},
        {CLASS_DOUBLE, {"date", 12}, {"date", 1}, {"DATE", 9}, {"DATE", 2}},
        {CLASS_DOUBLE, {"nldate", 0}, {"nldate", 20}, {"NLDATE", 9}, {"NLDATE", 20}},
        {CLASS_DOUBLE, {"mmyy", 5}, {"mmmyy", 9}, {"MONYY", 7}, {"MONYY", 7}},
        {CLASS_DOUBLE, {"percent", 0, 2}, {"other", 0, 3}, {"PERCENT", 12, 2}, {"OTHER", 12, 3}},
        // Only the first rule counts: the display format hides the input format, and the other way round.
        {CLASS_DOUBLE, {"fixed", 5}, {"dollar", 0}, {"", 5}, {"DOLLAR", 12}},
        {CLASS_DOUBLE, {}, {"dollar", 0}, {}, {"NLMNY", 12}},
        {CLASS_DOUBLE, {"mdy", 0}, {"comma", 6}, {"MDY", 0}, {"COMMA", 6}},
        // Names.
        {CLASS_DOUBLE, {"LongInformat", 4}, {"muchlonger", 4}, {"LONGINFO", 4}, {"MUCHLONG", 4}},
        {CLASS_DOUBLE, {"two words", 4}, {"MDY  ", 8}, {"TWO", 4}, {"MMDDYY", 8}},
        {CLASS_DOUBLE, {}, {"wide", 100000, -100000}, {}, {"WIDE", 32767, -32768}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.input << " and " << c.display);
        innamerecord variable{};
        variable.innametype = c.type;
        variable.transcode_length = 21;
        variable.innameif = c.input.name.empty() ? nullptr : c.input.name.c_str();
        variable.innameof = c.display.name.c_str();
        variable.innameinf[0] = c.input.width;
        variable.innameinf[1] = c.input.decimals;
        variable.innameoutf[0] = c.display.width;
        variable.innameoutf[1] = c.display.decimals;
        char names[] = "################!";
        NAMESTR described{};
        described.niformlong = names;
        described.nformlong = names + 8;
        to_vor_formats(&variable, &described);
        EXPECT_EQ(stored(names, described.niformlongl, described.nifl, described.nifd), c.host_input);
        EXPECT_EQ(stored(names + 8, described.nformlongl, described.nfl, described.nfd), c.host_display);
        EXPECT_EQ(names[16], '!');
    }
}

TEST(ExportFormats, HostFormatsBecomeKeywords) {
    const struct {
        const char *name; // as format and as informat
        const char *informat, *format;
        std::int32_t type;
        std::int32_t given_type = CLASS_DOUBLE;
    } cases[] = {
        {"DDMMYY", "dmy", "dmy", CLASS_DATE},
        {"ddmmyy", "dmy", "dmy", CLASS_DATE},
        {"DDMMYYS", "", "dmy", CLASS_DATE},
        {"YYMMDDN", "", "mdy", CLASS_DATE},
        {"DATE", "date", "date", CLASS_DATE},
        {"NLDATEMN", "", "date", CLASS_DATE},
        {"E8601DA", "", "date", CLASS_DATE},
        {"8601DA", "", "", CLASS_DOUBLE},
        {"DATETIME", "datehm", "datehm", CLASS_DATETIME},
        {"DATETIMEX", "datehm", "datehm", CLASS_DATETIME}, // judged by eight characters
        {"B8601DT", "", "datehm", CLASS_DATETIME},
        {"NLDATM", "", "datehm", CLASS_DATETIME},
        {"TIMEAMPM", "", "", CLASS_DOUBLE},
        {"E8601TM", "", "time", CLASS_TIME},
        {"NLTIMAP", "", "time", CLASS_TIME},
        {"QTRR", "", "mm", CLASS_DATE},
        {"YYQR", "", "mmmyy", CLASS_DATE},
        {"YYQ", "mmmyy", "mmmyy", CLASS_DATE},
        {"YYMON", "", "", CLASS_DOUBLE},
        {"YYMMC", "", "mmmyy", CLASS_DATE},
        {"E", "e", "e", CLASS_DOUBLE},
        {"", "", "", CLASS_DOUBLE},
        {"$HEX", "hex", "hex", CLASS_CHARACTER, CLASS_CHARACTER},
        {"DATE", "date", "date", CLASS_CHARACTER, CLASS_CHARACTER},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        std::string area(c.name);
        area.resize(8, ' ');
        NAMESTR described{};
        described.nformlong = described.niformlong = area.data();
        described.nfl = 12;
        described.nfd = 3;
        described.nifl = 10;
        described.nifd = 2;
        symbolstruct symbol{};
        symbol.symtype = c.given_type;
        from_vor_formats(&symbol, &described);
        EXPECT_STREQ(symbol.syminformat, c.informat);
        EXPECT_STREQ(symbol.symformat, c.format);
        EXPECT_EQ(symbol.symtype, c.type);
        EXPECT_EQ((std::vector{symbol.symformlen, symbol.symformdec, symbol.syminformlen, symbol.syminformdec}),
                  (std::vector<std::int32_t>{12, 3, 10, 2}));
    }
}

} // namespace
