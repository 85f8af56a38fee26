// The decoders and their table. The numeric ones are one template over the byte order of the file, the stored type, the
// missing values of the release and the meaning of the number.
#include "blank_padding.h"
#include "imglue_dates.h"
#include "imstata_records.h"
#include "imstata_strls.h"
#include "imswap.h"
#include "vor/extension.h"

#include <cstring>

namespace {

constexpr double MILLISECONDS_PER_MINUTE = 60000.0;
constexpr float FLOAT_MISSING = 0x1p127F;
constexpr int32_t EXTENDED_MISSINGS = 26; // ".a" to ".z", above "."
constexpr int32_t BEFORE_LETTER_A = 'a' - 1;

template <class stored>
constexpr int32_t HIGHEST = sizeof(stored) == 1   ? INT8_MAX
                            : sizeof(stored) == 2 ? INT16_MAX
                                                  : INT32_MAX;

template <bool swapped, class stored>
stored stored_value(const innamerecord *variable, const char *record) {
    stored value;
    memcpy(&value, record + variable->innameoffset, sizeof value);
    if constexpr (swapped && sizeof value == 2)
        from_sun_short(&value);
    if constexpr (swapped && sizeof value == 4)
        from_sun_long(&value);
    if constexpr (swapped && sizeof value == 8)
        from_sun_double(&value);
    return value;
}

// The missing letter of a stored value: 0 for ".", else 'a' to 'z'.
template <class stored>
int32_t missing_letter(stored value) {
    const int32_t letter = static_cast<int32_t>(value) - (HIGHEST<stored> - EXTENDED_MISSINGS);
    return letter == 0 ? 0 : letter + BEFORE_LETTER_A;
}
int32_t missing_letter(float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    const auto letter = static_cast<int32_t>(bits >> 8 & 0xFF);
    return letter >= 1 && letter <= EXTENDED_MISSINGS << 3 ? (letter >> 3) + BEFORE_LETTER_A : 0;
}
int32_t missing_letter(double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    const auto letter = static_cast<int32_t>(bits >> 40 & 0xFF);
    return letter >= 1 && letter <= EXTENDED_MISSINGS ? letter + BEFORE_LETTER_A : 0;
}

// Both families take a NaN for missing: the host's own missing values are NaNs, and none of them is meant here.

// One missing value, into a double.
struct one_missing {
    template <class stored>
    static bool is_missing(const indbsrec * /*in*/, stored value) {
        return value == HIGHEST<stored>;
    }
    static bool is_missing(const indbsrec * /*in*/, float value) { return value == FLOAT_MISSING || value != value; }
    static bool is_missing(const indbsrec *in, double value) {
        return value == in->indsn->layout->double_missing || value != value;
    }
    static void store(void *output, double number) { *static_cast<double *>(output) = number; }
    template <class stored>
    static void store_missing(void *output, stored /*value*/) {
        store(output, MISSING_SENTINEL);
    }
};

// "." and ".a" to ".z", into a mivex_num_struct.
struct extended_missing {
    template <class stored>
    static bool is_missing(const indbsrec * /*in*/, stored value) {
        return value >= HIGHEST<stored> - EXTENDED_MISSINGS;
    }
    static bool is_missing(const indbsrec * /*in*/, float value) { return !(value < FLOAT_MISSING); }
    static bool is_missing(const indbsrec * /*in*/, double value) { return !(value < LEAST_MISSING_DOUBLE); }
    static void store(void *output, double number) { static_cast<mivex_num_struct *>(output)->num = number; }
    template <class stored>
    static void store_missing(void *output, stored value) {
        store(output, MISSING_SENTINEL);
        static_cast<mivex_num_struct *>(output)->miss_char = missing_letter(value);
    }
};

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

template <bool swapped, class stored, class family, number_meaning meaning>
void decode_number(indbsrec *in, innamerecord *variable, const char *record, void *output, int64_t /*length*/) {
    const auto value = stored_value<swapped, stored>(variable, record);
    if (family::is_missing(in, value))
        family::store_missing(output, value);
    else if (sizeof value == sizeof(double) && meaning == as_number && static_cast<double>(value) == MISSING_SENTINEL)
        *static_cast<mivex_num_struct *>(output) = {.num = MISSING_SENTINEL, .miss_char = NOT_MISSING};
    else
        family::store(output, meaning(variable, static_cast<double>(value)));
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
