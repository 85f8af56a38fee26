// The decoders and their table. The numeric ones are one template over the byte order of the file, the stored type, the
// missing values of the release and the meaning of the number.
#include "blank_padding.h"
#include "imglue_dates.h"
#include "imstata_numbers.h"
#include "imstata_records.h"
#include "imstata_strls.h"
#include "vor/extension.h"

#include <cstring>

namespace {

constexpr double MILLISECONDS_PER_MINUTE = 60000.0;

// What a stored number means.
using number_meaning = double (*)(const innamerecord *variable, double value);

double as_number(const innamerecord * /*variable*/, double value) {
    return value;
}
double as_date(const innamerecord *variable, double value) {
    return read_stata_date(value, variable->innametempnum) * MINUTES_PER_DAY;
}
double as_time(const innamerecord * /*variable*/, double value) {
    return value / MILLISECONDS_PER_MINUTE;
}
double as_date_and_time(const innamerecord * /*variable*/, double value) {
    return value / MILLISECONDS_PER_MINUTE + DAYS_TO_1960 * MINUTES_PER_DAY;
}

// Into a double, or a mivex_num_struct where missing values have letters.
template <bool swapped, class stored, class family, number_meaning meaning>
void decode_number(indbsrec *in, innamerecord *variable, const char *record, void *output, int64_t /*length*/) {
    const family missing = {in->indsn->layout->double_missing};
    const auto value = stored_value<swapped, stored>(record + variable->innameoffset);
    auto *number = static_cast<mivex_num_struct *>(output);
    if (missing.is_missing(value)) {
        number->num = MISSING_SENTINEL;
        if constexpr (family::HAS_LETTERS)
            number->miss_char = missing_letter(value);
    } else if (sizeof value == sizeof(double) && meaning == as_number &&
               static_cast<double>(value) == MISSING_SENTINEL) {
        *number = {.num = MISSING_SENTINEL, .miss_char = NOT_MISSING};
    } else {
        number->num = meaning(variable, static_cast<double>(value));
    }
}

template <bool swapped>
constexpr innamefunct_type readbyte = decode_number<swapped, int8_t, one_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readshort = decode_number<swapped, int16_t, one_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readlong = decode_number<swapped, int32_t, one_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readfloat = decode_number<swapped, float, one_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readdouble = decode_number<swapped, double, one_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readdatebyte = decode_number<swapped, int8_t, one_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdateshort = decode_number<swapped, int16_t, one_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdatelong = decode_number<swapped, int32_t, one_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdatefloat = decode_number<swapped, float, one_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdatedouble = decode_number<swapped, double, one_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readbyte_v8 = decode_number<swapped, int8_t, extended_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readshort_v8 = decode_number<swapped, int16_t, extended_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readlong_v8 = decode_number<swapped, int32_t, extended_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readfloat_v8 = decode_number<swapped, float, extended_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readdouble_v8 = decode_number<swapped, double, extended_missing, as_number>;
template <bool swapped>
constexpr innamefunct_type readdatebyte_v8 = decode_number<swapped, int8_t, extended_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdateshort_v8 = decode_number<swapped, int16_t, extended_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdatelong_v8 = decode_number<swapped, int32_t, extended_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdatefloat_v8 = decode_number<swapped, float, extended_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readdatedouble_v8 = decode_number<swapped, double, extended_missing, as_date>;
template <bool swapped>
constexpr innamefunct_type readtimelong_v8 = decode_number<swapped, int32_t, extended_missing, as_time>;
template <bool swapped>
constexpr innamefunct_type readtimedouble_v8 = decode_number<swapped, double, extended_missing, as_time>;
template <bool swapped>
constexpr innamefunct_type readdatetimedouble_v8 = decode_number<swapped, double, extended_missing, as_date_and_time>;

void readchar(indbsrec * /*in*/, innamerecord *variable, const char *record, void *output, int64_t /*length*/) {
    const char *field = record + variable->innameoffset;
    const int32_t width = variable->innamelength;
    char *text = static_cast<char *>(output);
    copy_field(text, field, width);
    blank_from(text, length_to_nul(field, width), width);
    variable->data_length = without_trailing_blanks(text, width);
}

// The text stands in the record, up to its zero byte.
void readwhole(indbsrec * /*in*/, innamerecord *variable, const char *record, void *output, int64_t /*length*/) {
    const char *field = record + variable->innameoffset;
    auto *slot = static_cast<vor_text_slot *>(output);
    *slot = {.bytes = field, .length = length_to_nul(field, variable->innameactuallen), .binary = 0};
}

void readpadc(indbsrec * /*in*/, innamerecord *variable, const char *record, void *output, int64_t length) {
    constexpr unsigned char HIGHEST_CONTROL = 26;
    const int64_t width = variable->innameactuallen;
    const int64_t copied = length < width ? length : width;
    if (copied < 0)
        return;
    char *text = static_cast<char *>(output);
    memcpy(text, record + variable->innameoffset, static_cast<size_t>(copied));
    blank_from(text, copied, length);
    int64_t kept = 0;
    while (kept < copied && HIGHEST_CONTROL < static_cast<unsigned char>(text[kept]))
        ++kept;
    blank_from(text, kept, copied);
    variable->data_length = without_trailing_blanks(text, static_cast<int32_t>(kept));
}

void readcmiss(indbsrec * /*in*/, innamerecord *variable, const char * /*record*/, void *output, int64_t /*length*/) {
    blank_from(static_cast<char *>(output), 0, variable->innamelength);
    variable->data_length = 0;
}

void readdmiss(indbsrec * /*in*/, innamerecord * /*variable*/, const char * /*record*/, void *output,
               int64_t /*length*/) {
    *static_cast<double *>(output) = MISSING_SENTINEL;
}

struct decoder_row {
    decoder_code code;
    innamefunct_type older; // one missing value
    innamefunct_type newer; // extended missing values
};

constexpr int32_t DECODER_COUNT = 20;

template <bool swapped>
constexpr decoder_row DECODERS[DECODER_COUNT] = {
    {.code = DECODE_NO_TEXT, .older = readcmiss, .newer = readcmiss},
    {.code = DECODE_NO_NUMBER, .older = readdmiss, .newer = readdmiss},
    {.code = DECODE_SHORT, .older = readshort<swapped>, .newer = readshort_v8<swapped>},
    {.code = DECODE_LONG, .older = readlong<swapped>, .newer = readlong_v8<swapped>},
    {.code = DECODE_FLOAT, .older = readfloat<swapped>, .newer = readfloat_v8<swapped>},
    {.code = DECODE_DOUBLE, .older = readdouble<swapped>, .newer = readdouble_v8<swapped>},
    {.code = DECODE_TEXT, .older = readchar, .newer = readchar},
    {.code = DECODE_PADDED_TEXT, .older = readpadc, .newer = readpadc},
    {.code = DECODE_BYTE, .older = readbyte<swapped>, .newer = readbyte_v8<swapped>},
    {.code = DECODE_STRL, .older = readstrl, .newer = readstrl},
    {.code = DECODE_WHOLE_TEXT, .older = readwhole, .newer = readwhole},
    {.code = DECODE_WHOLE_STRL, .older = readwholestrl, .newer = readwholestrl},
    {.code = DECODE_DATE_SHORT, .older = readdateshort<swapped>, .newer = readdateshort_v8<swapped>},
    {.code = DECODE_DATE_LONG, .older = readdatelong<swapped>, .newer = readdatelong_v8<swapped>},
    {.code = DECODE_DATE_FLOAT, .older = readdatefloat<swapped>, .newer = readdatefloat_v8<swapped>},
    {.code = DECODE_DATE_DOUBLE, .older = readdatedouble<swapped>, .newer = readdatedouble_v8<swapped>},
    {.code = DECODE_DATE_BYTE, .older = readdatebyte<swapped>, .newer = readdatebyte_v8<swapped>},
    {.code = DECODE_TIME_LONG, .older = readtimelong_v8<swapped>, .newer = readtimelong_v8<swapped>},
    {.code = DECODE_TIME_DOUBLE, .older = readtimedouble_v8<swapped>, .newer = readtimedouble_v8<swapped>},
    {.code = DECODE_DATETIME_DOUBLE, .older = readdatetimedouble_v8<swapped>, .newer = readdatetimedouble_v8<swapped>},
};

// Towards zero; a value outside the range becomes its end.
int32_t to_int32(double value) {
    if (value <= INT32_MIN)
        return INT32_MIN;
    return value >= INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

} // namespace

double read_stata_date(double value, int32_t kind) {
    constexpr int32_t FIRST_YEAR = 1960;
    // The first day of a month counted from 0 within a year; month counts below 0 reach back into the year before.
    const auto first_day = [](int32_t month, int32_t year) {
        return static_cast<double>(julian(static_cast<int16_t>(month + 1), 1, static_cast<int16_t>(year)));
    };
    const int32_t n = to_int32(value);
    switch (kind) {
    case 'h':
        return first_day(n % 2 * 6, n / 2 + FIRST_YEAR);
    case 'm':
        return first_day(n % 12, n / 12 + FIRST_YEAR);
    case 'q':
        return first_day(n % 4 * 3, n / 4 + FIRST_YEAR);
    case 'w':
        return first_day(0, n / 52 + FIRST_YEAR) + n % 52 * 7;
    case 'y':
        return first_day(0, n);
    default:
        return value + DAYS_TO_1960;
    }
}

innamefunct_type find_decoder(int32_t code, missing_family missing, int32_t byte_order) {
    for (const decoder_row &decoder : byte_order == MOST_SIGNIFICANT_FIRST ? DECODERS<true> : DECODERS<false>) {
        if (decoder.code == code)
            return missing == MISSING_EXTENDED ? decoder.newer : decoder.older;
    }
    return nullptr;
}
