// Byte translation (the table of the function, or the host's routine where a character may have several bytes) and
// whole numbers as text in fixed fields.
#include "wztxxlt.h"

#include "service_entries.h"

#include <cstring>

namespace {

constexpr int32_t LAST_CHARACTER_FUNCTION = TRANSLATE_LOWER; // beyond it there is only the table
constexpr int32_t LAST_FUNCTION = 4;

int32_t translate_characters(int32_t function, const char *source, char *dest, int32_t len) {
    if (function == 0)
        return wzsxcch(source, dest, len);
    if (function == 1)
        return wzsxrch(source, dest, len);
    memmove(dest, source, static_cast<size_t>(len));
    if (function == TRANSLATE_UPPER)
        wzstrup(dest, len);
    else
        wzstrlo(dest, len);
    return 0;
}

} // namespace

int32_t wztxxlt(int32_t function, const char *source, char *dest, int32_t len) {
    if (function < 0 || function > LAST_FUNCTION)
        return TRANSLATE_BAD_FUNCTION;
    if (len <= 0)
        return 0;
    if (v_global_gcb_anchor->multibyte_session != 0 && function <= LAST_CHARACTER_FUNCTION)
        return translate_characters(function, source, dest, len);
    const uint8_t *table = v_global_gcb_anchor->translation_tables[function];
    for (int32_t i = 0; i < len; ++i)
        dest[i] = static_cast<char>(table[static_cast<unsigned char>(source[i])]);
    return 0;
}

int32_t wzclchr(int64_t num, char *str, int32_t len) {
    // The magnitude of the lowest number has no signed counterpart.
    uint64_t rest = num < 0 ? 0 - static_cast<uint64_t>(num) : static_cast<uint64_t>(num);
    int32_t next = len;
    do {
        if (--next < 0)
            break;
        str[next] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (num < 0 && --next >= 0)
        str[next] = '-';
    if (next < 0) {
        if (len > 0)
            memset(str, '*', static_cast<size_t>(len));
        return NUMBER_DOES_NOT_FIT;
    }
    memset(str, ' ', static_cast<size_t>(next));
    return 0;
}
