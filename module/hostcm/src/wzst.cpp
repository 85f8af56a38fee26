// Blank-padded fields: length, trimming, justification, deletion, comparison, padded moves; and terminated strings in
// fields.
#include "wzst.h"

#include "blank_padding.h"
#include "service_entries.h"

#include <cstring>

namespace {

int32_t leading_blanks(const char *str, int32_t len) {
    int32_t count = 0;
    while (count < len && str[count] == ' ')
        ++count;
    return count;
}

// Where a span goes; the span stays when the type is not known.
int32_t justified_start(int32_t type, int32_t now, int32_t length, int32_t span) {
    switch (type) {
    case 'L':
    case 'l':
        return 0;
    case 'R':
    case 'r':
        return length - span;
    case 'C':
    case 'c':
        return (length - span) / 2;
    default:
        return now;
    }
}

} // namespace

int32_t wzstlen(const char *str) {
    if (str == nullptr)
        return 0;
    const void *end = memchr(str, '\0', INT32_MAX);
    return end == nullptr ? INT32_MAX : static_cast<int32_t>(static_cast<const char *>(end) - str);
}

int32_t wzstrip(const char *str, int32_t len) {
    return len < 1 ? len : without_trailing_blanks(str, len);
}

void wzstjls(char *string, int32_t length, int32_t type, int32_t *retlen, int32_t *start) {
    const int32_t end = wzstrip(string, length);
    int32_t span = 0;
    int32_t target = 0;
    if (end > 0) {
        const int32_t now = leading_blanks(string, end);
        span = end - now;
        target = justified_start(type, now, length, span);
        memmove(string + target, string + now, static_cast<size_t>(span));
        memset(string, ' ', static_cast<size_t>(target));
        memset(string + target + span, ' ', static_cast<size_t>(length - target - span));
    }
    if (retlen != nullptr)
        *retlen = span;
    if (start != nullptr)
        *start = target;
}

int32_t wzstdel(char *str, int32_t slen, const char *del, int32_t dlen) {
    const int32_t length = slen < 0 ? wzstlen(str) : slen;
    const int32_t unwanted = dlen < 0 ? wzstlen(del) : dlen;
    bool drop[256];
    memset(drop, 0, sizeof drop);
    for (int32_t i = 0; i < unwanted; ++i)
        drop[static_cast<unsigned char>(del[i])] = true;
    int32_t kept = 0;
    for (int32_t i = 0; i < length; ++i) {
        if (!drop[static_cast<unsigned char>(str[i])])
            str[kept++] = str[i];
    }
    if (kept < length)
        memset(str + kept, slen < 0 ? '\0' : ' ', static_cast<size_t>(length - kept));
    return kept;
}

int32_t wzstcom(const char *s1, int32_t l1, const char *s2, int32_t l2) {
    const int32_t length1 = s1 == nullptr || l1 < 0 ? 0 : l1;
    const int32_t length2 = s2 == nullptr || l2 < 0 ? 0 : l2;
    const int32_t longer = length1 < length2 ? length2 : length1;
    for (int32_t i = 0; i < longer; ++i) {
        const auto c1 = static_cast<unsigned char>(i < length1 ? s1[i] : ' ');
        const auto c2 = static_cast<unsigned char>(i < length2 ? s2[i] : ' ');
        if (c1 != c2)
            return c1 < c2 ? -(i + 1) : i + 1;
    }
    return 0;
}

unsigned char wzstopt(const char *search, int32_t slen, const char *options, int32_t olen, unsigned char def) {
    if (search == nullptr || options == nullptr || olen < 1)
        return def;
    for (int32_t i = 0; i < slen; ++i) {
        if (memchr(options, static_cast<unsigned char>(search[i]), static_cast<size_t>(olen)) != nullptr)
            return static_cast<unsigned char>(search[i]);
    }
    return def;
}

int32_t wzbcup(const char *string1, const char *string2, int32_t n) {
    const uint8_t *upper = v_global_gcb_anchor->upper_table;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t difference =
            upper[static_cast<unsigned char>(string1[i])] - upper[static_cast<unsigned char>(string2[i])];
        if (difference != 0)
            return difference;
    }
    return 0;
}

void vzmp(const char *from, int32_t flen, char *to, int32_t tlen) {
    if (tlen <= 0)
        return;
    const int32_t moved = flen < 0 ? 0 : min(flen, tlen);
    if (moved > 0)
        memmove(to, from, static_cast<size_t>(moved));
    memset(to + moved, ' ', static_cast<size_t>(tlen - moved));
}

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
