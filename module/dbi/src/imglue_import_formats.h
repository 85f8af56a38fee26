// Display formats on import: from the drivers' neutral names to the host's.
#pragma once

#include "driver_records.h"

#include <cstdint>

// Gives the variable's description at np its formats. It reads the variable's input and display format (names, widths,
// decimals), its class and its transcode_length, and fills nformlong, niformlong (8 bytes each, which the caller has
// provided), nformlongl, niformlongl, nfl, nfd, nifl and nifd. A name of length 0 leaves the host to its standard
// format. Widths and decimals that 16 bits cannot hold become the nearest number they can.
void to_vor_formats(innamerecord *in1name, NAMESTR *np);
