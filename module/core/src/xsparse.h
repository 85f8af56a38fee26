// The parse driver: hands a grammar to the host's engine.
#pragma once

#include "vor/parsing.h"

// xsparse: run the engine on the pending input, with the host's standard routines where the record names none.
// A missing standard routine ends the task with HOST_LOGGED.
void xsparse(PARSECONTROL *pc, USERINTERACT *user);

// xsctok, xscsem: resolve a named token or semantic routine into the record; a missing one ends the task.
void xsctok(PARSECONTROL *pc, const char *name);
void xscsem(PARSECONTROL *pc, const char *name);

// xsctrak: give the record a tracking handle.
void xsctrak(PARSECONTROL *pc, void *handle);
