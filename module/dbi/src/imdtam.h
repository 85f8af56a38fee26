// The access object's constructor.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// vorimdta: make an access object and fill its operation slots.
//
// ppimglue  points to null for a new record from the task's pool, or to a zeroed record of the host's, which stays the
//           host's. mcn_main must have been called.
// 0, HOST_NO_OBJECT for a null ppimglue, HOST_NO_MEMORY, HOST_LOGGED when DBE_NAME names an encoding that the host
// does not know, or what loading the base class gave. After a failure no slot of this class is filled; the record, if
// one was made, is in *ppimglue, and what hangs on it lives as long as the pool.
extern "C" [[gnu::visibility("default")]] int32_t vorimdta(IMGLUE **ppimglue);
