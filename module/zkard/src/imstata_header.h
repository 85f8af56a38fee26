// The header of the binary releases (103 to 115) and the expansion fields behind their descriptors; the header of the
// tagged releases (117 to 119), and the reading of one element of the sections behind it.
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
status parse_binary_header(indbsrec *in, headerrec *header);

// skip_binary_expansion_records: move past the chain of expansion fields, to the first observation. The release's
// layout, the byte order and the file's size must stand in indsn.
//
// 0, ERROR_READ or ERROR_SEEK; ERROR_INPUT_INVALID when a field is longer than what the file still holds. The length is
// checked before any move, so a damaged file cannot lead outside itself.
status skip_binary_expansion_records(indbsrec *in);

// What parse_xml_item reads in place of a number of bytes.
inline constexpr int64_t ITEM_EMPTY = 0;    // both tags
inline constexpr int64_t ITEM_SKIPPED = -1; // both tags, and a block with its length in 4 bytes between them
inline constexpr int64_t ITEM_OPENS = -2;   // the opening tag only
inline constexpr int64_t ITEM_CLOSES = -3;  // the closing tag only

// parse_xml_header: read the header, from behind TAGGED_OPENING to behind </header>. Tag names count without regard to
// letter case. Release, K and N must be there, the release before the others; without a byte order the file is taken as
// least significant byte first.
//
// header  out: release, byteorder, filetype (1), the counts of the release's width in this machine's order, datalabel.
// 0
// ERROR_INPUT_INVALID  the release is none of the tagged ones, an element is missing, out of place or too long, or the
//                      header does not end
// ERROR_READ           the file ends inside the header, or a tag has no name
status parse_xml_header(indbsrec *in, headerrec *header);

// parse_xml_item: read one element whose tags stand exactly here.
//
// name     the element's name, terminated; letter case counts
// len      the bytes between the tags, or one of the ITEM_ values
// storage  len bytes; not used for the ITEM_ values
// 0                    the file is behind what was read
// ERROR_INPUT_INVALID  another tag stands here, or a block is longer than what the file holds. After a wrong opening
//                      tag the file is back where the element began.
// ERROR_READ, ERROR_SEEK
status parse_xml_item(indbsrec *in, const char *name, int64_t len, void *storage);

// skip_xml_expansion_records: read the whole <characteristics> element. The refusal of the tag that ends the list of
// its parts stays in message_string. 0, or what parse_xml_item returned.
status skip_xml_expansion_records(indbsrec *in);
