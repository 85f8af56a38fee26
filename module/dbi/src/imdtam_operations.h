// The operations behind the slots of the access object: each calls one routine of the conversion layer and turns its
// internal code into a host return code. They may be called only in the order open; then getvars once and getrow until
// HOST_END_OF_DATA, or putvars once and putrow for every observation; then close.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// delete (slot delete): give the driver table and the statement buffer back; the record stays its owner's.
void delete_object(IMGLUE *self);

// gvorstmts (slot get_vorstmts): the statements that would repeat this conversion: one empty one, or none when outmode
// says that none are wanted. The buffer belongs to the object. 0, HOST_NO_MEMORY, or what the slot complete gave.
int32_t gvorstmts(IMGLUE *self, void **vorstmtsp, int32_t *numstmtsp);

// open: open the named file and set the session up. 0, the host's own code, or the error reporter's; after a failure
// nothing is open and logname is blank.
int32_t open_file(IMGLUE *self);

// getvars: numvars and the list receive the file's variables; the session owns the list.
int32_t getvars(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead);

// getrow: fill the host observation with the next row. The first call sets *obsptr to the observation, which stays
// where it is until close. HOST_END_OF_DATA after the last one.
int32_t getrow(IMGLUE *self, void **obsptr);

// putvars: begin the file with the first `numvars` variables of the list.
int32_t putvars(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead);

// putrow: write one observation.
int32_t putrow(IMGLUE *self, const void *outbuffer, NAMELIST *namelisthead);

// close: complete an export, then release the session. Valid after any failure: that of an export is reported again.
// 0 or the error reporter's code.
int32_t close_file(IMGLUE *self);
