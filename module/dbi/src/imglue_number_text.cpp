// Numbers as text and back. Fixed forms are written from the right end of the field to the left.
#include "imglue_number_text.h"

#include "driver_records.h"
#include "wzst.h"

#include <cmath>
#include <cstring>

namespace {

unsigned char folded(char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

int32_t order_of(unsigned char first, unsigned char second) {
    return first < second ? -1 : first > second ? 1 : 0;
}

bool only_white_space(const char *text) {
    while (is_white_space(*text))
        ++text;
    return *text == '\0';
}

constexpr int32_t WIDTH_IN_HUNDREDS = 99; // field lengths above it
constexpr int32_t FREE_FORM_WIDTH = 20;

} // namespace

int32_t comp2inull(const char *first, const char *second) {
    for (int32_t i = 0; i < COMPARED_POSITIONS; ++i) {
        if (first[i] == '\0')
            return only_white_space(second + i) ? 0 : -1;
        if (second[i] == '\0')
            return only_white_space(first + i) ? 0 : 1;
        if (is_white_space(first[i]) && is_white_space(second[i]))
            continue;
        const int32_t order = order_of(folded(first[i]), folded(second[i]));
        if (order != 0)
            return order;
    }
    return 0;
}

int32_t mivex_memicmp(const char *first, const char *second, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const int32_t order = order_of(folded(first[i]), folded(second[i]));
        if (order != 0)
            return order;
    }
    return 0;
}

text_field open_text_field(const char *text, int16_t field_length, int16_t column, int16_t line_length) {
    const bool in_hundreds = field_length > WIDTH_IN_HUNDREDS;
    const int32_t width = in_hundreds ? field_length / 100 : field_length;
    return {.text = text,
            .length = min(width, line_length - column),
            .consumed = 0,
            .blank_ends = in_hundreds && width == FREE_FORM_WIDTH};
}

double multsqq[400];

namespace {

bool is_finite(double value) {
    return value - value == 0;
}
double magnitude_of(double value) {
    return value < 0 ? -value : value;
}

// --- Reading ---

constexpr uint64_t LARGEST_DIGITS = 1000000000000000000; // below it there is room for another digit
constexpr int32_t LARGEST_EXPONENT = 100000;             // far beyond any double; larger ones stop counting

struct decimal_number {
    bool negative;
    bool any_digit;
    uint64_t digits;  // the significant ones
    int32_t exponent; // the number is digits x 10 to this power
};

// The next byte, not consumed; 0 at the end of the field.
char peek(const text_field &field) {
    return field.consumed < field.length ? field.text[field.consumed] : '\0';
}

// Consumes the byte when it is `c` or `other`.
bool accept(text_field *field, char c, char other) {
    const bool there = field->consumed < field->length && (peek(*field) == c || peek(*field) == other);
    field->consumed += there ? 1 : 0;
    return there;
}

void skip_blanks(text_field *field) {
    while (accept(field, ' ', '\t')) {
    }
}

// Consumes a sign, if there is one; true when it is a minus.
bool read_sign(text_field *field) {
    const bool negative = peek(*field) == '-';
    accept(field, '-', '+');
    return negative;
}

void read_prefix(text_field *field, decimal_number *number) {
    const bool dollar_first = accept(field, '$', '$');
    number->negative = read_sign(field);
    if (!dollar_first)
        accept(field, '$', '$');
}

// Gathers digits; those of the fraction lower the exponent, those that have no room in the whole part raise it.
void read_digits(text_field *field, decimal_number *number, bool fraction) {
    for (;;) {
        if (!fraction && number->any_digit && accept(field, ',', ','))
            continue;
        const char c = peek(*field);
        if (!is_digit(c))
            return;
        ++field->consumed;
        number->any_digit = true;
        const bool room = number->digits < LARGEST_DIGITS;
        if (room)
            number->digits = number->digits * 10 + static_cast<uint64_t>(c - '0');
        number->exponent += room ? (fraction ? -1 : 0) : (fraction ? 0 : 1);
    }
}

bool read_exponent(text_field *field, decimal_number *number) {
    if (!accept(field, 'E', 'e'))
        return true;
    const bool negative = read_sign(field);
    if (!is_digit(peek(*field)))
        return false;
    int32_t exponent = 0;
    for (; is_digit(peek(*field)); ++field->consumed) {
        if (exponent < LARGEST_EXPONENT)
            exponent = exponent * 10 + (peek(*field) - '0');
    }
    number->exponent += negative ? -exponent : exponent;
    return true;
}

// True when the value ends here: only blanks follow, or a blank is enough.
bool at_end(text_field *field) {
    if (field->blank_ends && accept(field, ' ', '\t'))
        return true;
    skip_blanks(field);
    return field->consumed >= field->length;
}

// digits x 10 to the power exponent; infinite when that is too large.
double scaled(uint64_t digits, int32_t exponent) {
    auto value = static_cast<double>(digits);
    if (value == 0)
        return 0;
    if (exponent > LARGEST_POWER)
        return HUGE_VAL;
    if (exponent >= 0)
        return value * multsqq[exponent];
    for (; exponent < -LARGEST_POWER && value > 0; exponent += LARGEST_POWER)
        value /= multsqq[LARGEST_POWER];
    return value == 0 ? 0 : value / multsqq[-exponent];
}

// --- Printing ---

constexpr int32_t MOST_DECIMALS = 9;
constexpr int32_t MOST_BEST_DECIMALS = 11;
constexpr double FIXED_LIMIT = 1e18; // two groups of nine digits
constexpr int32_t MOST_EXPONENTIAL = 25;
constexpr int32_t NOT_FITTING = -1;

// A field that is filled from its right end.
struct right_to_left {
    char *text;
    int32_t free; // characters not yet written
};

// Writes c to the left of what is there; false when the field is full.
bool put(right_to_left *field, char c) {
    if (field->free <= 0)
        return false;
    field->text[--field->free] = c;
    return true;
}

// Makes a blank, terminated field; false when there is no room for anything.
bool clear_field(char *text, int32_t f) {
    if (f < 0)
        return false;
    memset(text, ' ', static_cast<size_t>(f));
    text[f] = '\0';
    return f > 0;
}

// What printb shows for what does not fit.
int32_t print_asterisk(int32_t f, char *text) {
    if (clear_field(text, f))
        text[f - 1] = '*';
    return 1;
}

// A terminated text at the right end of the field.
int32_t print_text(int32_t f, const char *shown, char *text) {
    const int32_t length = wzstlen(shown);
    if (!clear_field(text, f) || length > f)
        return print_asterisk(f, text);
    memcpy(text + f - length, shown, static_cast<size_t>(length));
    return 0;
}

bool put_fraction(right_to_left *field, uint64_t fraction, int32_t decimals, bool best) {
    while (best && decimals > 0 && fraction % 10 == 0) {
        fraction /= 10;
        --decimals;
    }
    if (decimals == 0)
        return true;
    for (; decimals > 0; --decimals, fraction /= 10) {
        if (!put(field, static_cast<char>('0' + fraction % 10)))
            return false;
    }
    return put(field, '.');
}

bool put_whole(right_to_left *field, uint64_t whole, bool comma) {
    int32_t digits = 0;
    do {
        if (comma && digits > 0 && digits % 3 == 0 && !put(field, ','))
            return false;
        if (!put(field, static_cast<char>('0' + whole % 10)))
            return false;
        ++digits;
        whole /= 10;
    } while (whole != 0);
    return true;
}

// The significant digits of a number above 0 and its decimal exponent.
struct scientific {
    uint64_t digits;  // `count` of them
    int32_t exponent; // of the first digit
};

scientific scientific_of(double value, int32_t count) {
    constexpr double nearly = 1 - 1e-13; // repeated scaling may fall short of a power of ten by its rounding
    const double lowest = multsqq[count - 1] * nearly;
    const double bound = multsqq[count] * nearly;
    int32_t shift = 0;
    for (; value >= bound; ++shift)
        value /= 10;
    for (; value < lowest; --shift)
        value *= 10;
    value += 0.5;
    auto digits = static_cast<uint64_t>(value);
    const auto first = static_cast<uint64_t>(multsqq[count - 1]);
    if (digits < first)
        digits = first;
    if (digits >= first * 10) {
        digits /= 10;
        ++shift;
    }
    return {.digits = digits, .exponent = shift + count - 1};
}

void put_exponent(right_to_left *field, int32_t exponent) {
    int32_t rest = exponent < 0 ? -exponent : exponent;
    for (int32_t i = 0; i < 3; ++i, rest /= 10)
        put(field, static_cast<char>('0' + rest % 10));
    put(field, exponent < 0 ? '-' : '+');
    put(field, 'e');
}

// An exponential form may be narrower than its field.
int32_t print_exponential(int32_t f, double value, char *text) {
    const int32_t lead = f > MOST_EXPONENTIAL ? f - MOST_EXPONENTIAL : 0;
    memset(text, ' ', static_cast<size_t>(lead));
    return printe(value, f - lead, text + lead, 1);
}

// log10 of the number's magnitude, roughly and towards zero.
int32_t decimal_exponent_of(double value) {
    if (value == 0)
        return 0;
    int32_t binary_exponent;
    frexp(value, &binary_exponent);
    return static_cast<int32_t>(binary_exponent * 0.30103);
}

// The fixed form with as many decimals as the number's size e leaves room for.
int32_t print_best_fixed(int32_t f, double value, int32_t e, char *text) {
    const int32_t sign = value < 0 ? 1 : 0;
    if (e < 0)
        return print1f(f, min(-e - sign + 6, MOST_BEST_DECIMALS), value, text, 0, 0, 1);
    if (e < f - 5)
        return print1f(f, min(f - e - 5 - sign, MOST_BEST_DECIMALS), value, text, 0, 0, 1);
    return print1f(f, 0, value, text, 0, 0, 0);
}

// Fixed or exponential, as the number's size asks; where that has no room, the other one. 0 when it fitted.
int32_t print_either(int32_t f, double value, char *text) {
    const int32_t e = decimal_exponent_of(value);
    const bool exponential = e >= f - 3 || -e > f - 8;
    if (exponential && print_exponential(f, value, text) == 0)
        return 0;
    if (print_best_fixed(f, value, e, text) == 0)
        return 0;
    return exponential ? NOT_FITTING : print_exponential(f, value, text);
}

constexpr int32_t WHOLE_NUMBERS_ONLY = 6; // up to this width printb shows no decimals

} // namespace

void init_multsqq() {
    multsqq[0] = 1.0;
    for (int32_t i = 1; i <= LARGEST_POWER; ++i)
        multsqq[i] = multsqq[i - 1] * 10.0;
}

int32_t atodf1(const char *text, double *value, int16_t field_length, int16_t column, int16_t line_length) {
    text_field field = open_text_field(text, field_length, column, line_length);
    decimal_number number{};
    skip_blanks(&field);
    read_prefix(&field, &number);
    read_digits(&field, &number, false);
    if (accept(&field, '.', '.'))
        read_digits(&field, &number, true);
    const bool well_formed = (!number.any_digit || read_exponent(&field, &number)) && at_end(&field);
    *value = MISSING_SENTINEL;
    if (!well_formed) {
        // The byte that does not belong there counts as read.
        return -min(field.consumed + 1, field.length);
    }
    if (!number.any_digit)
        return field.consumed;
    const double magnitude = scaled(number.digits, number.exponent);
    if (!is_finite(magnitude))
        return -field.consumed;
    *value = number.negative ? -magnitude : magnitude;
    return field.consumed;
}

int32_t print1f(int32_t f, int32_t d, double value, char *text, int32_t comma, int32_t dollar, int32_t best) {
    if (!clear_field(text, f))
        return NOT_FITTING;
    const int32_t decimals = d < 0 ? 0 : min(d, MOST_DECIMALS);
    const double rounded = magnitude_of(value) + 0.5 / multsqq[decimals];
    if (!(rounded < FIXED_LIMIT))
        return NOT_FITTING;
    const auto whole = static_cast<uint64_t>(rounded);
    const auto fraction = static_cast<uint64_t>((rounded - static_cast<double>(whole)) * multsqq[decimals]);
    const bool minus = value < 0 && (whole != 0 || fraction != 0);

    right_to_left field{.text = text, .free = f};
    const bool fits = put_fraction(&field, fraction, decimals, best != 0) && put_whole(&field, whole, comma != 0) &&
                      (dollar == 0 || put(&field, '$')) && (!minus || put(&field, '-'));
    return fits ? 0 : NOT_FITTING;
}

int32_t printe(double value, int32_t f, char *text, int32_t best) {
    const int32_t width = min(f, MOST_EXPONENTIAL);
    if (!clear_field(text, width) || !is_finite(value))
        return NOT_FITTING;
    // A number other than zero needs one significant digit.
    const int32_t significant = width - 7;
    if (significant < 1 && !(value == 0 && best != 0 && significant == 0))
        return NOT_FITTING;
    scientific number{};
    if (value != 0)
        number = scientific_of(magnitude_of(value), significant);

    right_to_left field{.text = text, .free = width};
    put_exponent(&field, number.exponent);
    int32_t behind_point = significant < 1 ? 0 : significant - 1;
    for (; best != 0 && behind_point > 0 && number.digits % 10 == 0; --behind_point)
        number.digits /= 10;
    for (; behind_point > 0; --behind_point, number.digits /= 10)
        put(&field, static_cast<char>('0' + number.digits % 10));
    put(&field, '.');
    put(&field, static_cast<char>('0' + number.digits));
    if (value < 0)
        put(&field, '-');
    return 0;
}

int32_t printb(int32_t f, double value, char *text) {
    if (value == MISSING_SENTINEL)
        return print_text(f, ".", text);
    if (value == RANGE_LOW)
        return print_text(f, "low", text);
    if (value == RANGE_HIGH)
        return print_text(f, "high", text);
    if (!is_finite(value))
        return print_asterisk(f, text);
    const int32_t fitted = f <= WHOLE_NUMBERS_ONLY ? print1f(f, 0, value, text, 0, 0, 0) : print_either(f, value, text);
    return fitted == 0 ? 0 : print_asterisk(f, text);
}

void printc(int32_t f, int32_t d, double value, char *text) {
    if (print1f(f, d, value, text, 0, 0, 0) != 0)
        printb(f, value, text);
}
