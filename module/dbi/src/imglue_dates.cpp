// Calendar dates. The day counts follow the usual formulas with a year that begins in March; the readers are two small
// automata over the classes of the field's bytes.
#include "imglue_dates.h"

#include "driver_records.h"
#include "imglue_number_text.h"
#include "wzst.h"

namespace {

constexpr double DAYS_A_YEAR = 365.25;
constexpr double DAYS_A_MONTH = 30.6001; // from March on
constexpr int64_t MINUTES_A_DAY = 1440;

// The formulas' constants, and below where they come from. `julian` counts from 1979-12-31 as if every date were one of
// the Julian calendar and corrects Gregorian ones; `mmddyy` goes through Julian day numbers.
constexpr int64_t COUNT_TO_1979 = 29219;        // from 1899-12-31
constexpr int64_t COUNT_OFFSET = 723244;        // to 1979-12-31 from the formula's zero, in the year 0
constexpr int64_t GREGORIAN_COUNT = -145068;    // of 15 October 1582, uncorrected
constexpr int64_t GREGORIAN_DAY = -145079;      // of the day before it, from 1979-12-31
constexpr int32_t DAY_NUMBER_OF_BASE = 2415020; // of 1899-12-31
constexpr double MARCH_OF_400 = 1867216.25;     // 0400-03-01, less three quarters of a day
constexpr double DAYS_A_CENTURY = 36524.25;     // Gregorian
constexpr int64_t YEARS_BEFORE_0 = 4716;        // day numbers are counted from here on, in whole leap cycles
constexpr int64_t DAYS_BEFORE_DAY_0 = 1524;     // from there to day number 0, the months of the formula included
constexpr double MONTHS_OF_FORMULA = 122.1;     // four months: March is month 4 in it

// Days from 1 January of the year 1 of the calendar.
constexpr int64_t days_into(bool gregorian, int64_t year, int32_t month, int64_t day) {
    constexpr int32_t before[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const bool leap = year % 4 == 0 && (!gregorian || year % 100 != 0 || year % 400 == 0);
    const int64_t years = year - 1;
    const int64_t leap_days = years / 4 - (gregorian ? years / 100 - years / 400 : 0);
    return 365 * years + leap_days + before[month - 1] + (leap && month > 2 ? 1 : 0) + day - 1;
}
constexpr int64_t JULIAN_LEAD = 2;           // 1 January of the year 1 is two days earlier in the Julian calendar
constexpr int64_t DAY_NUMBER_OF_1 = 1721426; // of 0001-01-01, Gregorian
constexpr int64_t IN_1979 = days_into(true, 1979, 12, 31);
constexpr int64_t MARCH_1_OF_4 = days_into(false, 4, 3, 1) - JULIAN_LEAD;
static_assert(COUNT_TO_1979 == IN_1979 - days_into(true, 1899, 12, 31));
static_assert(4 * 365 + 1 + 122 + 1 - COUNT_OFFSET == MARCH_1_OF_4 - IN_1979); // four years, the months, the day
static_assert(GREGORIAN_COUNT == days_into(false, 1582, 10, 15) - JULIAN_LEAD - IN_1979);
static_assert(GREGORIAN_DAY == days_into(true, 1582, 10, 14) - IN_1979);
static_assert(DAY_NUMBER_OF_BASE == DAY_NUMBER_OF_1 + days_into(true, 1899, 12, 31));
static_assert(MARCH_OF_400 == static_cast<double>(DAY_NUMBER_OF_1 + days_into(true, 400, 3, 1)) - 0.75);
static_assert(YEARS_BEFORE_0 * 365 + YEARS_BEFORE_0 / 4 - DAYS_BEFORE_DAY_0 - DAY_NUMBER_OF_BASE ==
              COUNT_TO_1979 - COUNT_OFFSET);

const char MONTHS[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct date_time {
    int32_t day, month, year, hour, minute;
};

constexpr int32_t LARGEST_NUMBER = INT16_MAX; // what a date's fields may hold

// Appends a digit; false when the number gets too large to be part of a date.
bool append_digit(int32_t *number, char digit) {
    *number = *number * 10 + (digit - '0');
    return *number <= LARGEST_NUMBER;
}

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

// The end of both readers: bytes consumed, or less that number when the numbers name no day or no time of day.
int32_t store_date(date_time date, int32_t consumed, double *value) {
    if (date.month > 12 || date.hour > 23 || date.minute > 59)
        return -consumed;
    if (date.year < 100)
        date.year += 1900;
    const int64_t day_count =
        julian(static_cast<int16_t>(date.month), static_cast<int16_t>(date.day), static_cast<int16_t>(date.year));
    int16_t month;
    int16_t day;
    int16_t year;
    mmddyy(day_count, &month, &day, &year);
    if (month != date.month || day != date.day || year != date.year)
        return -consumed;
    *value = static_cast<double>(day_count * MINUTES_A_DAY + date.hour * 60 + date.minute);
    return consumed;
}

int32_t reject(const text_field &field, double *value) {
    *value = MISSING_SENTINEL;
    return -field.consumed;
}

text_field open_date_field(const char *text, int16_t field_length, int16_t column, int16_t line_length) {
    text_field field = open_text_field(text, field_length, column, line_length);
    field.blank_ends = field.blank_ends || field_length == 20;
    return field;
}

// atofdate: states and the class of byte that leads from one to the next.
enum named_state : uint8_t { BEFORE, DAY, MONTH, YEAR, COLON, HOUR, DOT, MINUTE, AFTER, LONE_DOT, BAD };
enum byte_class : uint8_t { BLANK, DIGIT, LETTER, IS_COLON, IS_DOT, OTHER, CLASSES };

constexpr named_state NAMED_NEXT[BAD][CLASSES] = {
    // next after a blank, digit, letter, colon, dot, other byte
    /* BEFORE */ {BEFORE, DAY, BAD, BAD, LONE_DOT, BAD},
    /* DAY */ {BAD, DAY, MONTH, BAD, BAD, BAD},
    /* MONTH */ {BAD, YEAR, MONTH, BAD, BAD, BAD},
    /* YEAR */ {AFTER, YEAR, BAD, COLON, BAD, BAD},
    /* COLON */ {BAD, HOUR, BAD, BAD, BAD, BAD},
    /* HOUR */ {AFTER, HOUR, BAD, BAD, DOT, BAD},
    /* DOT */ {BAD, MINUTE, BAD, BAD, BAD, BAD},
    /* MINUTE */ {AFTER, MINUTE, BAD, BAD, BAD, BAD},
    /* AFTER */ {AFTER, BAD, BAD, BAD, BAD, BAD},
    /* LONE_DOT */ {LONE_DOT, BAD, BAD, BAD, BAD, BAD},
};

byte_class class_of(char c) {
    if (is_blank(c))
        return BLANK;
    if (is_digit(c))
        return DIGIT;
    if (is_letter(c))
        return LETTER;
    return c == ':' ? IS_COLON : c == '.' ? IS_DOT : OTHER;
}

// The number that a state gathers; null for the states that gather none.
constexpr int32_t date_time::*NUMBER_OF[BAD] = {nullptr, &date_time::day,  nullptr, &date_time::year,
                                                nullptr, &date_time::hour, nullptr, &date_time::minute,
                                                nullptr, nullptr};

// What the automaton gathers; `state` is where it stands.
struct named_date {
    named_state state;
    date_time date;
    char month[4];
    int32_t month_letters;
};

// Takes one byte; false when it does not belong there.
bool take(named_date *reading, char c) {
    reading->state = NAMED_NEXT[reading->state][class_of(c)];
    if (reading->state == BAD)
        return false;
    if (reading->state == MONTH) {
        if (reading->month_letters == 3)
            return false;
        reading->month[reading->month_letters++] = c;
        return true;
    }
    const auto number = NUMBER_OF[reading->state];
    return number == nullptr || append_digit(&(reading->date.*number), c);
}

// atomdy: the numbers in the order they are read.
enum numeric_part { FIRST, SECOND, YEAR_PART, HOUR_PART, MINUTE_PART, PARTS };

struct numeric_date {
    int32_t number[PARTS];
    int32_t part;   // the one being read
    int32_t digits; // read of it
    bool full;      // the part has ended by itself; the next digit begins another one
    bool begun;     // something other than a blank was read
    bool ended;     // only blanks may follow
};

bool next_part(numeric_date *reading) {
    reading->digits = 0;
    reading->full = false;
    return ++reading->part < PARTS;
}

bool take_digit(numeric_date *reading, char c) {
    if (reading->ended || (reading->full && !next_part(reading)))
        return false;
    ++reading->digits;
    reading->full = reading->digits == 2 && reading->part != YEAR_PART;
    return append_digit(&reading->number[reading->part], c);
}

// A blank between the year and the hour is part of the value; any other one ends it.
void take_blank(numeric_date *reading) {
    if (!reading->begun)
        return;
    if (reading->part == YEAR_PART && reading->digits > 0)
        next_part(reading);
    else if (reading->part != HOUR_PART || reading->digits > 0)
        reading->ended = true;
}

bool take(numeric_date *reading, char c) {
    if (is_blank(c)) {
        take_blank(reading);
        return true;
    }
    reading->begun = true;
    if (is_digit(c))
        return take_digit(reading, c);
    return !reading->ended && (c == '/' || c == ':' || c == '.') && next_part(reading);
}

} // namespace

double fint(double number) {
    constexpr double all_whole = 9007199254740992.0; // 2 to the power 53: from here on doubles have no fraction
    if (!(number > -all_whole && number < all_whole))
        return number;
    return static_cast<double>(static_cast<int64_t>(number));
}

double whole_floor(double number) {
    const double whole = fint(number);
    return whole > number ? whole - 1 : whole;
}

int64_t julian(int16_t month, int16_t day, int16_t year) {
    const bool of_last_year = month < 3;
    const int32_t m = of_last_year ? month + 12 : month;
    const int32_t y = of_last_year ? year - 1 : year;
    double count =
        whole_floor(DAYS_A_YEAR * y) + fint(DAYS_A_MONTH * (m + 1)) + day - static_cast<double>(COUNT_OFFSET);
    if (count >= static_cast<double>(GREGORIAN_COUNT)) {
        const double century = whole_floor(y / 100.0);
        count += whole_floor(century * 0.25) + 2 - century;
    }
    return static_cast<int64_t>(count) + COUNT_TO_1979;
}

void mmddyy(int64_t day_count, int16_t *month, int16_t *day, int16_t *year) {
    double a = fint(static_cast<double>(day_count) + DAY_NUMBER_OF_BASE);
    if (day_count > GREGORIAN_DAY) {
        const double century = whole_floor((a - MARCH_OF_400) / DAYS_A_CENTURY);
        a += 1 + century - whole_floor(century * 0.25);
    }
    const double days = a + static_cast<double>(DAYS_BEFORE_DAY_0);
    const double b = fint((days - MONTHS_OF_FORMULA) / DAYS_A_YEAR);
    const double c = days - fint(b * DAYS_A_YEAR);
    const double e = fint(c / DAYS_A_MONTH);
    *day = static_cast<int16_t>(static_cast<int64_t>(fint(c - fint(e * DAYS_A_MONTH))));
    *month = static_cast<int16_t>(static_cast<int64_t>(e > 13.5 ? e - 13 : e - 1));
    *year = static_cast<int16_t>(static_cast<int64_t>(b) - YEARS_BEFORE_0 + (*month < 3 ? 1 : 0));
}

int32_t monthnum(const char *text) {
    int32_t number = 1;
    for (const char *month : MONTHS) {
        if (mivex_memicmp(text, month, 3) == 0)
            return number;
        ++number;
    }
    return number;
}

int32_t atofdate(const char *text, double *value, int16_t field_length, int16_t column, int16_t line_length) {
    text_field field = open_date_field(text, field_length, column, line_length);
    named_date reading{};
    while (field.consumed < field.length) {
        if (!take(&reading, field.text[field.consumed++]))
            return reject(field, value);
        if (reading.state == AFTER && field.blank_ends)
            break;
    }
    switch (reading.state) {
    case BEFORE:
    case LONE_DOT:
        *value = MISSING_SENTINEL;
        return field.consumed;
    case YEAR:
    case HOUR:
    case MINUTE:
    case AFTER:
        reading.date.month = monthnum(reading.month);
        return store_date(reading.date, field.consumed, value);
    default: // the field ends within the value
        return reject(field, value);
    }
}

int32_t atomdy(const char *text, double *value, int16_t field_length, int16_t column, int16_t line_length,
               int16_t day_first) {
    text_field field = open_date_field(text, field_length, column, line_length);
    numeric_date reading{};
    while (field.consumed < field.length) {
        const char c = field.text[field.consumed++];
        if (!take(&reading, c))
            return reject(field, value);
        if (field.blank_ends && reading.begun && is_blank(c))
            break;
    }
    const int32_t *number = reading.number;
    if (number[FIRST] == 0 && number[SECOND] == 0 && number[YEAR_PART] == 0) {
        *value = MISSING_SENTINEL;
        return 1;
    }
    if (number[YEAR_PART] == 0)
        return reject(field, value);
    const bool swapped = day_first == 1;
    return store_date({.day = number[swapped ? FIRST : SECOND],
                       .month = number[swapped ? SECOND : FIRST],
                       .year = number[YEAR_PART],
                       .hour = number[HOUR_PART],
                       .minute = number[MINUTE_PART]},
                      field.consumed, value);
}
