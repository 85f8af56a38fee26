// What the module's use of user formats is bounded by, as far as a host must know it.
#pragma once

#include <cstdint>

// Most user formats that one import makes; labelled variables after them have none.
inline constexpr int32_t MOST_USER_FORMATS = 4086;
