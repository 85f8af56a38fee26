// Whole numbers as text in fixed fields.
#pragma once

#include <cstdint>

inline constexpr int32_t NUMBER_DOES_NOT_FIT = static_cast<int32_t>(0x8000200d);

// Writes num as decimal text right-justified in the len bytes of str, with a '-' before a negative value and blanks to
// the left; nothing terminates it. 0, or NUMBER_DOES_NOT_FIT when it does not fit: the field is then all '*'.
int32_t wzclchr(int64_t num, char *str, int32_t len);
