// Small session allocations out of large blocks, which grow with what the session already holds.
#include "imstata_arena.h"

#include "imglue_session.h"

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
