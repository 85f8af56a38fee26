// The parse driver: hands a grammar to the host's engine.
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
