// The parse driver, which hands a grammar to the host's engine, and the grammar of the module's statements.
#pragma once

#include "vor/parsing.h"

// xsparse: run the engine on the pending input for the task's procedure. Where the record names no token or semantic
// routine the host's standard one is resolved; where it has no tracking handle it gets one.
//
// user  USERINTERACT_ENTRIES entries.
// The procedure record holds the outcome. A standard routine that the host does not have is logged and ends the task
// with HOST_LOGGED.
void xsparse(PARSECONTROL *pc, USERINTERACT *user);

// xsctok, xscsem: resolve a named token or semantic routine into the record; a missing one is logged and ends the task.
void xsctok(PARSECONTROL *pc, const char *name);
void xscsem(PARSECONTROL *pc, const char *name);

// xsctrak: give the record a tracking handle.
void xsctrak(PARSECONTROL *pc, void *handle);

// imdtag: a new record for the import and export statements, from the host's pool, which keeps it. Ends the task with
// HOST_TASK_NO_MEMORY when the pool refuses.
PARSECONTROL *imdtag();
