// Byte translation: the table of the function, or the host's routine where a character may have several bytes.
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
