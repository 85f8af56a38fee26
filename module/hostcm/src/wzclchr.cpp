// Whole numbers as text in fixed fields.
#include "wzclchr.h"

#include <cstring>

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
