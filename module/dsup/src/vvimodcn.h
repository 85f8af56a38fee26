// The module frame: the connection entry, the host anchors that it sets, and the entries to host memory pools. The
// anchors are the only state that outlives a conversion; they are written once, by mcn_main, and everybody else reads
// them.
#pragma once

#include "vor/control_block.h"

#include <cstdint>

extern GCB *v_global_gcb_anchor;   // the road to every host service
extern void *v_global_pidb_anchor; // the host's image database, passed on unread
extern TOOLKIT *Exported_ZKHandle; // the host toolkit; null in a host without one
extern const IMAGE_INFORMATION vi_mcn;

// mcn_main: connect the module to its host. Called once, before any other entry; both records stay the host's and must
// outlive the last call. Returns the module's image information, which lives as long as the module is loaded.
extern "C" [[gnu::visibility("default")]] const IMAGE_INFORMATION *mcn_main(GCB *gcb, void *pidb);

// himodcn: the place for work at connection time; there is none.
void himodcn();

// Memory pools. Lengths are bytes; flags are those of vor/control_block.h.

// vmalcp_handler: a block from the given pool. Null when the pool refuses or the length is negative.
void *vmalcp_handler(POOL *pool, int64_t length_bytes, int32_t flags);

// vmalloc_handler: a block from the current task's pool. Null when the pool refuses or the length is negative.
void *vmalloc_handler(int64_t length_bytes, int32_t flags);

// vmfree_handler: give a block back to the pool it came from; a null block is left out.
void vmfree_handler(POOL *pool, void *block, int64_t length_bytes, int32_t flags);
