// Knows how a block is asked of a pool and given back; keeps no record of blocks.
#include "memory_handlers.h"

#include "vvimodcn.h"

void *vmalcp_handler(POOL *pool, int64_t length_bytes, int32_t flags) {
    if (length_bytes < 0)
        return nullptr;
    return pool->allocate(pool, length_bytes, flags);
}

void *vmalloc_handler(int64_t length_bytes, int32_t flags) {
    return vmalcp_handler(v_global_gcb_anchor->pool, length_bytes, flags);
}

void vmfree_handler(POOL *pool, void *block, int64_t length_bytes, int32_t flags) {
    if (block != nullptr)
        pool->free(pool, block, length_bytes, flags);
}
