// Display formats on export: from the host's names to the writer's keywords.
#pragma once

#include "output_records.h"

#include <cstdint>

// Fills the symbol's format and informat: symformat and syminformat with a keyword (empty when the host's format has
// none), symformlen, symformdec, syminformlen and syminformdec with the host's widths and decimals. A numeric variable
// whose format shows a date, a time of day or a date and time gets the class CLASS_DATE, CLASS_TIME or CLASS_DATETIME
// as symtype. The symbol's symtype must be set before.
void from_vor_formats(symbolstruct *symbol, const NAMESTR *np);
