// Export: the host's variable list becomes the writer's variable descriptions; observations go one at a time from the
// host observation to the driver.
#pragma once

#include "output_records.h"
#include "vor/imglue.h"

#include <cstdint>

// namestrs_to_mivex_variables: describe the first `numvars` variables of the list to the driver, have it write the
// beginning of the file and set up its record buffer.
//
// namelisthead  may be null without variables; nothing of it is kept.
// 0, ERROR_MEMORY, or the driver's code. Names and labels that cannot be transcoded are logged and kept as far as they
// go; user formats that cannot be used cost their variables the value labels.
status namestrs_to_mivex_variables(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead);

// Fills the symbol's format and informat: symformat and syminformat with a keyword (empty when the host's format has
// none), symformlen, symformdec, syminformlen and syminformdec with the host's widths and decimals. A numeric variable
// whose format shows a date, a time of day or a date and time gets the class CLASS_DATE, CLASS_TIME or CLASS_DATETIME
// as symtype. The symbol's symtype must be set before.
void from_vor_formats(symbolstruct *symbol, const NAMESTR *np);

// setup_write_scratch: once the driver has laid the variables out, allocate what transcoding a value needs; nothing
// without a pipeline. 0 or ERROR_MEMORY.
status setup_write_scratch(IMGLUE *self);

// mivex_write_record: convert one host observation (the variables' values one after the other, vorlen bytes each) and
// have the driver write it. Nothing is allocated. Text that cannot be transcoded, or does not fit, is written as far
// as it goes, and logged. 0 or the driver's code.
status mivex_write_record(IMGLUE *self, const void *observation);
