// User formats as the module's records and as the host keeps them.
//
// A file in which a missing value carries a label knows that value as one of 27 large numbers, for "." and ".a" to
// ".z". An import hands such numbers over as they are; here they become the host's missing values, and numbers again
// when a format is read for an export. Texts are UTF-8 on the host's side.
#pragma once

#include "text/encodings.h"

#include <vor/control_block.h>
#include <vor/formats.h>
#include <vorhost/user_format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace vor::services {

// What the texts of the module's records are in: names and values in the session's encoding, and labels, which the
// module passes as they stand in the file, in that of the file.
struct FormatEncodings {
    const Encodings &values;
    const Encodings &labels;
};

// The format that records describe, its ranges in the catalog's order. False when the records contradict themselves: a
// label's number that there is no label for, a kind of range that is not known.
bool format_of_records(std::string_view name, const XFRWSTR &records, FormatEncodings encodings, UserFormat &format);

// Fills hp and rp of the records, allocating from their pool. Ranges whose texts are longer than a record can say are
// left out and counted. False when the pool refuses.
bool records_of_format(const UserFormat &format, FormatEncodings encodings, XFRWSTR &records, int &left_out);

// The plain text of a counted name.
std::string counted_name(const FORMAT_NAME32 &name);

} // namespace vor::services
