// Terminated strings and blank-padded fields of the conversion layer.
#include "hcstrings.h"

#include "wzst.h"

#include <cstring>

void blank(char *s, int32_t len) {
    for (int32_t i = 0; i < len; ++i) {
        if (static_cast<unsigned char>(s[i]) <= 26) {
            memset(s + i, ' ', static_cast<size_t>(len - i));
            return;
        }
    }
}

int32_t zeroit(char *a, int32_t len) {
    for (int32_t i = 0; i < len; ++i) {
        if (is_white_space(a[i])) {
            a[i] = '\0';
            return i;
        }
    }
    return len;
}

int32_t mivex_strnlen(const char *str, int32_t len) {
    if (len < 0)
        return 0;
    // Long runs are blanks; the other white space is rare.
    for (len = wzstrip(str, len); len > 0 && is_white_space(str[len - 1]); len = wzstrip(str, len - 1)) {
    }
    return len;
}

char *mivex_strncpy(char *to, const char *from, int32_t len) {
    if (len <= 0)
        return to;
    const auto room = static_cast<size_t>(len - 1);
    const void *end = memchr(from, '\0', room);
    const size_t length = end == nullptr ? room : static_cast<size_t>(static_cast<const char *>(end) - from);
    memmove(to, from, length);
    to[length] = '\0';
    return to;
}
