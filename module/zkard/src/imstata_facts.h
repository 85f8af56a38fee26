// What a Stata file says beyond its observations, for a host that asks for it: characteristics, value-label tables,
// stored types, display formats, sort order.
#pragma once

#include "imstata_records.h"

#include <cstdint>

// keep_characteristic: read the body of a characteristic, `length` bytes that the file has room for, and keep it. Its
// names stand in front of its text, each as wide as the release's variable names.
//
// 0, also for a body that is too short for its names, which a warning tells; the file is behind the body
// ERROR_READ, ERROR_MEMORY, ERROR_SEEK
status keep_characteristic(indbsrec *in, int64_t length);

// collect_facts: give the host the facts of the file, if it has asked for anything. The variables are built; the
// descriptors and the kept characteristics must stand as long as the session.
//
// observations  as the header has them
// 0; ERROR_MEMORY; ERROR_INPUT_INVALID for a type code; what reading the value-label tables returned. A table whose
// contents are damaged is left out with a warning. The position in the file is unspecified afterwards.
status collect_facts(indbsrec *in, const headerrec *header, const descrec *descriptors, int64_t observations);
