// The Stata driver as the access object sees it: a table of entry points.
#pragma once

#include "driver_records.h"

// init_imstata: fill the table with the driver's entry points.
void init_imstata(native_procs *procs);
