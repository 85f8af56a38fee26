// The host's missing values: doubles whose top 16 bits are all ones, with the kind of missing value in the byte below.
#pragma once

#include <cstdint>

// 1 when d is a missing value, else 0.
int32_t wzmis(double d);

// The kind of the missing value d: '.', '_' or 'A' to 'Z', '.' also for a kind that the host does not have. 0 when d
// is no missing value.
int32_t wzmism(double d);

// 1 when the stored numeric value of len bytes (a double without its low bytes) is a missing value, else 0.
int32_t wzmisl(const char *dval, int32_t len);
