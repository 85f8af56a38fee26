// The module frame: the connection entry and the host anchors that it sets. The anchors are the only state that
// outlives a conversion; they are written once, by mcn_main, and everybody else reads them.
#pragma once

#include "vor/control_block.h"

extern GCB *v_global_gcb_anchor;   // the road to every host service
extern void *v_global_pidb_anchor; // the host's image database, passed on unread
extern TOOLKIT *Exported_ZKHandle; // the host toolkit; null in a host without one
extern const IMAGE_INFORMATION vi_mcn;

// mcn_main: connect the module to its host. Called once, before any other entry; both records stay the host's and must
// outlive the last call. Returns the module's image information, which lives as long as the module is loaded.
extern "C" [[gnu::visibility("default")]] const IMAGE_INFORMATION *mcn_main(GCB *gcb, void *pidb);

// himodcn: the place for work at connection time; there is none.
void himodcn();
