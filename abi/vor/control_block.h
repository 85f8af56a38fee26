// The host's control block: the one road from the module to every host service, the memory pool, the current task and
// the character tables. The host builds it before it connects the module and keeps it until after the last call.
#pragma once

#include "vor/encoding.h"
#include "vor/parsing.h"

#include <cstdint>

// Identifies one service; passed as the first argument of every service call, so that a host may load a group of
// services on first use.
struct SERVICE_ID {
    int32_t group;
    int32_t slot;
};

// Any service routine; called through its true type, which the list in vor/services.h gives.
using SERVICE_ROUTINE = void (*)();

// A memory pool. allocate returns null when the pool refuses; free takes the flags value POOL_FREE and length 0.
struct POOL {
    void *(*allocate)(POOL *pool, int64_t length_bytes, int32_t flags);
    void (*free)(POOL *pool, void *block, int64_t length_bytes, int32_t flags);
};

inline constexpr int32_t POOL_ZEROED = 0x2006;  // allocate: the block reads as zero
inline constexpr int32_t POOL_GRAMMAR = 0x2004; // allocate: for parse-control records
inline constexpr int32_t POOL_FREE = 4;         // free

// The services that know files keep their state behind this name; the module only passes it along.
struct FILE_CONTEXT;

// The task on which the host calls the module.
struct TASK {
    FILE_CONTEXT *files; // passed to every file service
    PROCSTR *procedure;  // the running procedure: its statement and error state
    void *image_anchor;  // passed to the resolution of routine names
    void *reserved;
};

inline constexpr int32_t SERVICE_GROUPS = 256; // groups are numbered 0 to 255
inline constexpr int32_t SERVICE_SLOTS = 512;  // slots of a group are numbered 0 to 511

struct GCB {
    char marker[8];                       // "VORGCB  "
    const SERVICE_ROUTINE *const *groups; // SERVICE_GROUPS tables of SERVICE_SLOTS routines; a group may be null
    uint8_t *status;                      // SERVICE_GROUPS bytes; the module clears a group's byte before each call
    TASK *task;                           // the current task
    POOL *pool;                           // the task's memory pool
    const uint8_t *upper_table;           // 256 bytes: each byte's upper case
    const uint8_t *translation_tables[5]; // 256 bytes each; 2 is upper case, 3 lower case
    const double *special_missings;       // 256 doubles by character code: 'A' to 'Z' and '_' hold missing values
    int32_t multibyte_session;            // 1 when the session encoding uses multi-byte characters
    int32_t reserved;
    TOOLKIT *toolkit; // the toolkit handle, with the national-language extension
    // Converts bytes of the session encoding to wide characters (4 bytes each); at most `limit` of them are stored
    // and *length receives their number. 0, or a status when the bytes are not valid or do not fit.
    int32_t (*to_wide)(const char *bytes, int64_t length_bytes, ZKChar *wide, int64_t limit, int64_t *length);
};

// The module's image information, returned by its connection entry.
struct IMAGE_INFORMATION {
    char marker[24];     // "VOR_Image_Information=", terminated
    char version[16];    // such as "0.1.0", terminated
    char release[16];    // terminated
    char build_date[32]; // terminated
};

struct IMGLUE;

extern "C" {
using CONNECTION_ENTRY = const IMAGE_INFORMATION *(*)(GCB *gcb, void *pidb); // exported as mcn_main
using CONSTRUCTOR_ENTRY = int32_t (*)(IMGLUE **object);                      // exported as vorimdta
}
