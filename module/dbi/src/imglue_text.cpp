// Text comparison and the fields of the text readers.
#include "imglue_text.h"

#include "hcstrings.h"

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
