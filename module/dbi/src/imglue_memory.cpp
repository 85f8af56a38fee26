// Session blocks, each behind a link to the one before it; and small allocations out of large blocks, which grow with
// what the session already holds.
#include "imglue_memory.h"

#include "vvimodcn.h"

namespace {

constexpr int64_t ALIGNMENT = 8;
constexpr int64_t SMALLEST_BLOCK = 16384;
constexpr int64_t LARGEST_BLOCK = 262144;
constexpr int64_t SHARE = 16; // of what was taken, a new block

int64_t next_block_bytes(const session_arena *arena) {
    const int64_t share = arena->taken_bytes / SHARE;
    if (share < SMALLEST_BLOCK)
        return SMALLEST_BLOCK;
    return share < LARGEST_BLOCK ? share : LARGEST_BLOCK;
}

} // namespace

void *h_malloc1(IMGLUE *self, int64_t size) {
    static constexpr int64_t overhead = 15; // the link, and the bytes that round a size up to the next multiple of 8
    if (size < 0 || size > INT64_MAX - overhead)
        return nullptr;
    auto *block = static_cast<malloc_list_struct *>(vmalloc_handler(size + overhead, POOL_ZEROED));
    if (block == nullptr)
        return nullptr;
    block->next_malloc_ptr = self->head_malloc_ptr;
    self->head_malloc_ptr = block;
    return block + 1;
}

void *arena_take(IMGLUE *self, session_arena *arena, int64_t size) {
    if (size < 0 || size > INT64_MAX - ALIGNMENT)
        return nullptr;
    const int64_t bytes = (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    if (bytes > arena->left_bytes) {
        const int64_t block_bytes = next_block_bytes(arena);
        const bool alone = bytes > block_bytes / 4; // a new block for it would leave too much of this one idle
        char *block = static_cast<char *>(h_malloc1(self, alone ? bytes : block_bytes));
        if (block == nullptr)
            return nullptr;
        arena->taken_bytes += alone ? bytes : block_bytes;
        if (alone)
            return block;
        arena->next = block;
        arena->left_bytes = block_bytes;
    }
    char *taken = arena->next;
    arena->next += bytes;
    arena->left_bytes -= bytes;
    return taken;
}
