// Byte translation through the host's tables, and whole numbers as text in fixed fields.
// No path of the module reaches them: they belong to the set of utilities that its drivers may use.
#pragma once

#include <cstdint>

inline constexpr int32_t TRANSLATE_UPPER = 2;
inline constexpr int32_t TRANSLATE_LOWER = 3;
inline constexpr int32_t TRANSLATE_BAD_FUNCTION = static_cast<int32_t>(0x8000200a);

// Translates len bytes from source to dest with the host's translation `function`, 0 to 4. Where the session encoding
// uses multi-byte characters, functions 0 to 3 go to the host's character-aware routines; function 4 always uses its
// table. source and dest may be the same area. A len of 0 or less does nothing.
// 0                        done
// TRANSLATE_BAD_FUNCTION   there is no such function; dest is untouched
// anything else            what the host's character-aware routine returned for function 0 or 1
int32_t wztxxlt(int32_t function, const char *source, char *dest, int32_t len);

inline constexpr int32_t NUMBER_DOES_NOT_FIT = static_cast<int32_t>(0x8000200d);

// Writes num as decimal text right-justified in the len bytes of str, with a '-' before a negative value and blanks to
// the left; nothing terminates it. 0, or NUMBER_DOES_NOT_FIT when it does not fit: the field is then all '*'.
int32_t wzclchr(int64_t num, char *str, int32_t len);
