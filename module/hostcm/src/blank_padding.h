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

// The bytes of a word before its first zero byte: 8 when it has none.
inline int32_t bytes_to_nul(uint64_t word) {
    const uint64_t marks = (word - 0x0101010101010101) & ~word & 0x8080808080808080; // the lowest: the first zero byte
    return (__builtin_ctzll(marks >> 7 | uint64_t{1} << 63) + 1) / 8;
}

// The length of the text in a field of `width` bytes: up to the first NUL, or the whole field. Up to two words it takes
// no branch that depends on the text, not even one of the compiler's: where texts end is what a processor cannot guess.
inline int32_t length_to_nul(const char *field, int32_t width) {
    constexpr int32_t WORD = WORD_BYTES;
    if (width < WORD || width > 2 * WORD) {
        const void *end = memchr(field, '\0', static_cast<size_t>(width));
        return end == nullptr ? width : static_cast<int32_t>(static_cast<const char *>(end) - field);
    }
    const int32_t first = bytes_to_nul(load_word<uint64_t>(field));
    const int32_t last = bytes_to_nul(load_word<uint64_t>(field + width - WORD));
    const int32_t is_full = first / WORD; // 1 when the first word has no NUL
    return first + is_full * (width - 2 * WORD + last);
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
    while (length >= WORD_BYTES) {
        const uint64_t difference = load_word<uint64_t>(text + length - WORD_BYTES) ^ EIGHT_BLANKS;
        if (difference != 0)
            return length - __builtin_clzll(difference) / 8;
        length -= static_cast<int32_t>(WORD_BYTES);
    }
    while (length > 0 && text[length - 1] == ' ')
        --length;
    return length;
}
