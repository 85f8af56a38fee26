// The operations of the extension on batches: what stands behind getcolumns.
#pragma once

#include "vor/extension.h"
#include "vor/imglue.h"

// The operation getcolumns, as the extension describes it.
int32_t getcolumns(IMGLUE *self, vor_batch *batch);
