// The set-up of an opened Stata file: header, descriptors, long strings, variables, the place of the observations.
#pragma once

#include "driver_records.h"
#include "imstata_records.h"

#include <cstdint>

// dindbssetup: recognise the file and describe it.
//
// in  prepared by the session; mivex_infd is the file.
// 0                    firstname, inreclen and intotal are set, supports_encoding and supports_multiple_missings say
//                      what the release has, and the file is at the first observation
// ERROR_INPUT_INVALID  the file is not a Stata file of a release that can be read, or is damaged; message_string tells
// ERROR_READ           the file is too short, or could not be read; message_string tells
// ERROR_SEEK, ERROR_MEMORY, ERROR_BUFFER_SIZE
// After a failure nothing of the record may be used but message_string; the session owns what was allocated.
//
// The time it takes does not depend on the number of observations.
status dindbssetup(indbsrec *in);
