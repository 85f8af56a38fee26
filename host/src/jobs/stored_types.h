// The choice of stored types for an export, which looks at all values first.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/log.h>

namespace vor {

// The description with a stored type for every variable, chosen as `types` says; a recorded type that the values do not
// fit gives way to a wider one, which a note tells. Reads the source to its end and goes back; a source that cannot go
// back keeps the description that it has, but for numbers that are to be doubles.
DataSet with_stored_types(BatchSource &source, StoredTypes types, const Notes &note);

} // namespace vor
