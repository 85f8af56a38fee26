// The module's entries to host memory pools. Lengths are bytes; flags are those of vor/control_block.h.
#pragma once

#include "vor/control_block.h"

#include <cstdint>

// vmalcp_handler: a block from the given pool. Null when the pool refuses or the length is negative.
void *vmalcp_handler(POOL *pool, int64_t length_bytes, int32_t flags);

// vmalloc_handler: a block from the current task's pool. Null when the pool refuses or the length is negative.
void *vmalloc_handler(int64_t length_bytes, int32_t flags);

// vmfree_handler: give a block back to the pool it came from; a null block is left out.
void vmfree_handler(POOL *pool, void *block, int64_t length_bytes, int32_t flags);
