// The end of an exported Stata file: the records still waiting, the sections behind the data, and the places in the
// header that only the end can fill.
#pragma once

#include "output_records.h"

#include <cstdint>

// finoutdbs: complete the file after the last observation.
//
// 0                     the file is complete; the record buffer's content is gone
// ERROR_WRITE           records, value labels, the map or the count could not be written
// ERROR_SEEK            a tag could not be written, or the host could not tell the position or move
// ERROR_OUTPUT_INVALID  a table of value labels is longer than the format can say; message_string names it
// After a failure the file is incomplete.
int32_t finoutdbs(outdbsrec *out);
