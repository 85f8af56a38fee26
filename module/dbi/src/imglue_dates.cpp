// Calendar dates. The day counts follow the usual formulas with a year that begins in March; the readers are two small
// automata over the classes of the field's bytes.
#include "imglue_dates.h"

#include "driver_records.h"
#include "imglue_number_text.h"
#include "wzst.h"

namespace {

constexpr double DAYS_A_YEAR = 365.25;
constexpr double DAYS_A_MONTH = 30.6001;     // from March on
constexpr int64_t GREGORIAN_COUNT = -145068; // uncorrected count of 15 October 1582
constexpr int64_t GREGORIAN_DAY = -145079;
constexpr int64_t MINUTES_A_DAY = 1440;

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
    double count = whole_floor(DAYS_A_YEAR * y) + fint(DAYS_A_MONTH * (m + 1)) + day - 723244;
    if (count >= static_cast<double>(GREGORIAN_COUNT)) {
        const double century = whole_floor(y / 100.0);
        count += whole_floor(century * 0.25) + 2 - century;
    }
    return static_cast<int64_t>(count) + 29219;
}

void mmddyy(int64_t day_count, int16_t *month, int16_t *day, int16_t *year) {
    double a = fint(static_cast<double>(day_count) + 2415020);
    if (day_count > GREGORIAN_DAY) {
        const double century = whole_floor((a - 1867216.25) / 36524.25);
        a += 1 + century - whole_floor(century * 0.25);
    }
    const double b = fint((a + 1524 - 122.1) / DAYS_A_YEAR);
    const double c = a + 1524 - fint(b * DAYS_A_YEAR);
    const double e = fint(c / DAYS_A_MONTH);
    *day = static_cast<int16_t>(static_cast<int64_t>(fint(c - fint(e * DAYS_A_MONTH))));
    *month = static_cast<int16_t>(static_cast<int64_t>(e > 13.5 ? e - 13 : e - 1));
    *year = static_cast<int16_t>(static_cast<int64_t>(*month < 3 ? b - 4715 : b - 4716));
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
