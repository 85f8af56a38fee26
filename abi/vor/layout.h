// How the contract pins its records: every field of a record that both sides see has its offset asserted, and every
// record its size, so that a compiler or an edit that moves a field does not get past the build.
#pragma once

#include <cstddef>
#include <cstdint>

#define VOR_OFFSET(record, field, bytes) static_assert(offsetof(record, field) == (bytes), #record "." #field " moved")
#define VOR_SIZE(record, bytes) static_assert(sizeof(record) == (bytes), #record " changed its size")
