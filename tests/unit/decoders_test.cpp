// Every decoder on stored bits, in both byte orders. Expected numbers are written out, dates come from the calendar of
// the standard library.
#include "driver_file.h"
#include "stata_file_builder.h"

#include <bit>
#include <chrono>
#include <gtest/gtest.h>
#include <ostream>

namespace vor::test {
namespace {

using namespace std::string_literals;

constexpr double MINUTES_TO_1960 = 31557600;

double minutes_to(int year, unsigned month, unsigned day) {
    using namespace std::chrono;
    const sys_days date = std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day};
    return static_cast<double>((date - sys_days{1899y / 12 / 31}).count()) * 1440;
}

// Decodes one value that stands at byte 3 of a record.
struct Decoder {
    Decoder(std::int32_t release, ByteOrder order) {
        state.release = release;
        state.layout = find_release(release);
        state.byte_order = order == ByteOrder::big ? MOST_SIGNIFICANT_FIRST : LEAST_SIGNIFICANT_FIRST;
        in.indsn = &state;
        variable.innameoffset = 3;
    }
    void run(std::int32_t code, const std::string &stored, void *output, std::int64_t length) {
        const std::string record = "###" + stored;
        const std::vector<char> exact(record.begin(), record.end()); // its end is the end of what may be read
        find_decoder(code, state.layout->missing, state.byte_order)(&in, &variable, exact.data(), output, length);
    }

    dsnrecord state{};
    indbsrec in{};
    innamerecord variable{};
};

std::uint64_t bits_of(double number) {
    return std::bit_cast<std::uint64_t>(number);
}

constexpr std::int32_t UNTOUCHED = 7;

TEST(Decoders, NumbersAndMissingValues) {
    const auto missing_value = std::bit_cast<double>(0xFE6DDD4BAA009303);
    const struct {
        decoder_code code;
        std::int32_t release;
        std::size_t width;
        std::uint64_t bits;
        double number;
        std::int32_t miss_char = UNTOUCHED;
    } rows[] = {
        {DECODE_BYTE, 115, 1, 101, missing_value, 0},
        {DECODE_BYTE, 115, 1, 127, missing_value, 'z'},
        {DECODE_BYTE, 112, 1, 126, 126},
        {DECODE_BYTE, 103, 1, 127, missing_value},
        {DECODE_SHORT, 113, 2, 32740, 32740},
        {DECODE_SHORT, 113, 2, 32741, missing_value, 0},
        {DECODE_SHORT, 119, 2, 32767, missing_value, 'z'},
        {DECODE_SHORT, 110, 2, 32741, 32741},
        {DECODE_SHORT, 110, 2, 32767, missing_value},
        {DECODE_LONG, 117, 4, 2147483620, 2147483620},
        {DECODE_LONG, 117, 4, 2147483621, missing_value, 0},
        {DECODE_LONG, 117, 4, 2147483647, missing_value, 'z'},
        {DECODE_FLOAT, 115, 4, 0x7EFFFFFF, 0x1.fffffep126},
        {DECODE_FLOAT, 115, 4, 0x7F000000, missing_value, 0},
        {DECODE_FLOAT, 115, 4, 0x7F000800, missing_value, 'a'},
        {DECODE_FLOAT, 115, 4, 0x7F00D000, missing_value, 'z'},
        {DECODE_FLOAT, 115, 4, 0x7F00D100, missing_value, 0},
        {DECODE_FLOAT, 115, 4, 0x7FC00000, missing_value, 0},
        {DECODE_FLOAT, 115, 4, 0xFF000000, -0x1p127},
        {DECODE_FLOAT, 111, 4, 0x7F000000, missing_value},
        {DECODE_DOUBLE, 115, 8, 0x7FDFFFFFFFFFFFFF, 0x1.fffffffffffffp1022},
        {DECODE_DOUBLE, 115, 8, 0x7FE0000000000000, missing_value, 0},
        {DECODE_DOUBLE, 118, 8, 0x7FE01A0000000000, missing_value, 'z'},
        {DECODE_DOUBLE, 118, 8, 0x7FE01B0000000000, missing_value, 0},
        {DECODE_DOUBLE, 108, 8, 0x54C0000000000000, 0x1p333},
        {DECODE_DOUBLE, 108, 8, 0x7FE0000000000000, missing_value},
        {DECODE_DOUBLE, 118, 8, 0x7FF8000000000000, missing_value, 0},
        {DECODE_DOUBLE, 105, 8, 0x54C0000000000000, missing_value},
        {DECODE_DOUBLE, 105, 8, 0x7FE0000000000000, 0x1p1023},
        {DECODE_DATE_BYTE, 110, 1, 0xFF, MINUTES_TO_1960 - 1440},
        {DECODE_DATE_SHORT, 118, 2, 0xFFFF, MINUTES_TO_1960 - 1440},
        {DECODE_DATE_LONG, 108, 4, 2, MINUTES_TO_1960 + 2880},
        {DECODE_DATE_FLOAT, 108, 4, 0x3F000000, MINUTES_TO_1960 + 720},
        {DECODE_TIME_LONG, 118, 4, 3600000, 60},
        {DECODE_TIME_DOUBLE, 117, 8, bits_of(90000), 1.5},
        {DECODE_DATETIME_DOUBLE, 118, 8, bits_of(-30000), MINUTES_TO_1960 - 0.5},
        {DECODE_NO_NUMBER, 118, 0, 0, missing_value},
    };
    for (const auto &row : rows) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            mivex_num_struct output = {.num = 0, .miss_char = UNTOUCHED};
            Decoder(row.release, order).run(row.code, number_bytes(row.bits, row.width, order), &output, 8);
            EXPECT_EQ(std::pair(output.num, output.miss_char), std::pair(row.number, row.miss_char))
                << row.code << " of " << row.release << ": " << row.bits;
        }
    }
}

TEST(Decoders, DateUnits) {
    const struct {
        char unit;
        double value;
        double minutes;
    } rows[] = {
        {'d', -21915, minutes_to(1899, 12, 31)}, {'c', 14669, minutes_to(2000, 2, 29)},
        {'w', 52, minutes_to(1961, 1, 1)},       {'w', -1, minutes_to(1959, 12, 25)},
        {'m', -1, minutes_to(1959, 12, 1)},      {'m', -13, minutes_to(1958, 12, 1)},
        {'m', 481.9, minutes_to(2000, 2, 1)},    {'q', -1, minutes_to(1959, 10, 1)},
        {'h', 3, minutes_to(1961, 7, 1)},        {'h', -1, minutes_to(1959, 7, 1)},
        {'y', 2000, minutes_to(2000, 1, 1)},
    };
    for (const auto &row : rows) {
        Decoder decoder(118, ByteOrder::little);
        decoder.variable.innametempnum = row.unit;
        mivex_num_struct output = {.num = 0, .miss_char = 0};
        decoder.run(DECODE_DATE_DOUBLE, number_bytes(bits_of(row.value), 8, ByteOrder::little), &output, 8);
        EXPECT_EQ(output.num, row.minutes) << row.unit << row.value;
    }
    for (const char unit : "hmqwy"s) // beyond 32 bits a value counts as the largest
        EXPECT_EQ(read_stata_date(-1e300, unit), read_stata_date(-2147483648.0, unit)) << unit;
}

TEST(Decoders, PaddedTexts) {
    const struct {
        decoder_code code;
        std::string field;
        std::string text; // as long as asked for
        std::int32_t data_length;
    } rows[] = {
        {DECODE_TEXT, " a  \0"s, " a   ", 2},
        {DECODE_PADDED_TEXT, "abcdef", "ab", 2},
        {DECODE_PADDED_TEXT, "a\x1B|\x1A|", "a\x1B|   ", 3},
        {DECODE_NO_TEXT, "abcd", "    ", 0},
    };
    for (const auto &row : rows) {
        Decoder decoder(118, ByteOrder::little);
        decoder.variable.innamelength = decoder.variable.innameactuallen = static_cast<std::int32_t>(row.field.size());
        decoder.variable.data_length = 99;
        std::string output(row.text.size() + 1, '#');
        decoder.run(row.code, row.field, output.data(), std::ssize(row.text));
        EXPECT_EQ(output, row.text + "#") << row.field;
        EXPECT_EQ(decoder.variable.data_length, row.data_length) << row.field;
    }
}

// Every width up to past two words, with the NUL at every place in it and behind it, blanks before it, and text behind.
TEST(Decoders, TextEndsAtItsNulInFieldsOfAnyWidth) {
    Decoder decoder(118, ByteOrder::little);
    for (std::size_t width = 1; width <= 26; ++width)
        for (std::size_t end = 0; end <= width; ++end)
            for (std::size_t blanks = 0; blanks <= end; ++blanks) {
                SCOPED_TRACE(std::to_string(width) + ' ' + std::to_string(end) + ' ' + std::to_string(blanks));
                std::string field(width, '\x81');
                field.replace(end - blanks, blanks, blanks, ' ');
                if (end < width)
                    field[end] = '\0';
                decoder.variable.innamelength = static_cast<std::int32_t>(width);
                std::vector<char> output(width, '#');
                decoder.run(DECODE_TEXT, field, output.data(), static_cast<std::int64_t>(width));
                EXPECT_EQ(decoder.variable.data_length, end - blanks);
                EXPECT_EQ(std::string(output.begin(), output.end()),
                          std::string(end - blanks, '\x81') + std::string(width - end + blanks, ' '));
            }
}

} // namespace
} // namespace vor::test
