// The header of the binary releases (103 to 115) and the expansion fields behind their descriptors.
#pragma once

#include "imstata_records.h"

#include <cstdint>

// parse_binary_header: read the header from the start of the file.
//
// header  out: release, byteorder, filetype, unused, nvar_2byte, nobs_4byte (in this machine's order) and datalabel.
// 0                    the file is at the first byte behind the header
// ERROR_INPUT_INVALID  the release is none of the binary ones; message_string names it
// ERROR_READ           the file is shorter than the header
// ERROR_SEEK
int32_t parse_binary_header(indbsrec *in, headerrec *header);

// skip_binary_expansion_records: move past the chain of expansion fields, to the first observation. The release's
// layout, the byte order and the file's size must stand in indsn.
//
// 0, ERROR_READ or ERROR_SEEK; ERROR_INPUT_INVALID when a field is longer than what the file still holds. The length is
// checked before any move, so a damaged file cannot lead outside itself.
int32_t skip_binary_expansion_records(indbsrec *in);
