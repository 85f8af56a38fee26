// The memory of a session: blocks that it owns and that are released with it, never alone; and many small allocations
// out of few large blocks. It knows nothing of what is kept in them.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// One session allocation: the link, then the caller's bytes.
struct malloc_list_struct {
    malloc_list_struct *next_malloc_ptr;
};

// h_malloc1: a zero-filled block of `size` bytes, chained to the session and released with it, never alone.
//
// size  bytes, 0 or more. The block is aligned to 8 bytes.
// Null when the pool refuses, or when size is negative or too large to be a size.
void *h_malloc1(IMGLUE *self, int64_t size);

// An arena. Reads as zero before its first use.
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
