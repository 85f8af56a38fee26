// Many small session allocations out of few large ones. The session owns the blocks; nothing is released alone. The
// arena knows nothing of what is kept in it.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// Reads as zero before its first use.
struct session_arena {
    char *next;
    int64_t left_bytes;
    int64_t taken_bytes; // of all blocks so far
};

// A block of `size` bytes, aligned for any record and zero-filled. Of what was taken from the session, about a
// sixteenth may lie idle, or one block while there are few.
//
// size  bytes, 0 or more.
// Null when memory is exhausted; the arena is then unchanged.
void *arena_take(IMGLUE *self, session_arena *arena, int64_t size);
