// Fields of text: fixed widths, blanks behind the text. Most are a few bytes wide and there are millions of them, so
// the short ones are done here in overlapping words, without a call.
#pragma once

#include <cstdint>
#include <cstring>

inline constexpr uint64_t EIGHT_BLANKS = 0x2020202020202020;
inline constexpr int64_t WORD_BYTES = sizeof EIGHT_BLANKS;

template <class word>
word load_word(const char *bytes) {
    word value;
    memcpy(&value, bytes, sizeof value);
    return value;
}

// Marks the first byte of a word that is zero with its highest bit; 0 when none is.
inline uint64_t first_zero(uint64_t word) {
    return (word - 0x0101010101010101) & ~word & 0x8080808080808080;
}

// The length of the text in a field of `width` bytes: up to the first NUL, or the whole field. Up to two words it takes
// no branch that depends on the text: where texts end is what a processor cannot guess.
inline int32_t length_to_nul(const char *field, int32_t width) {
    constexpr int32_t WORD = WORD_BYTES;
    if (width < WORD || width > 2 * WORD) {
        const void *end = memchr(field, '\0', static_cast<size_t>(width));
        return end == nullptr ? width : static_cast<int32_t>(static_cast<const char *>(end) - field);
    }
    const uint64_t first = first_zero(load_word<uint64_t>(field));
    const uint64_t last = first_zero(load_word<uint64_t>(field + width - WORD));
    const uint64_t zero = first != 0 ? first : last;
    const int32_t start = first != 0 ? 0 : width - WORD;
    return zero == 0 ? width : start + __builtin_ctzll(zero) / 8;
}

// Copies a field of `width` bytes; both sides hold that many.
inline void copy_field(char *to, const char *from, int64_t width) {
    if (width < WORD_BYTES || width > 2 * WORD_BYTES) {
        memcpy(to, from, static_cast<size_t>(width));
        return;
    }
    const auto first = load_word<uint64_t>(from);
    const auto last = load_word<uint64_t>(from + width - WORD_BYTES);
    memcpy(to, &first, sizeof first);
    memcpy(to + width - WORD_BYTES, &last, sizeof last);
}

// Sets the bytes from `from` to before `to` of a field to blanks; nothing when there are none.
inline void blank_from(char *text, int64_t from, int64_t to) {
    if (from >= to)
        return;
    if (to < WORD_BYTES || to - from > WORD_BYTES) {
        memset(text + from, ' ', static_cast<size_t>(to - from));
        return;
    }
    char *last = text + to - WORD_BYTES;
    const int64_t kept_bits = (from - (to - WORD_BYTES)) * 8; // of the last word: 0 to 56
    const uint64_t kept = (uint64_t{1} << kept_bits) - 1;
    const uint64_t word = (load_word<uint64_t>(last) & kept) | (EIGHT_BLANKS & ~kept);
    memcpy(last, &word, sizeof word);
}

// The length of a text without its trailing blanks.
inline int32_t without_trailing_blanks(const char *text, int32_t length) {
    constexpr int32_t WORD = WORD_BYTES;
    if (length == 0 || text[length - 1] != ' ')
        return length;
    while (length >= WORD && load_word<uint64_t>(text + length - WORD) == EIGHT_BLANKS)
        length -= WORD;
    while (length > 0 && text[length - 1] == ' ')
        --length;
    return length;
}
