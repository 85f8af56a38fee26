// A data set of a library as a source of rows.
#pragma once

#include "library/library_file.h"

namespace vor {

// As Library::dataset_source.
std::unique_ptr<RowSource> make_dataset_source(std::shared_ptr<LibraryFile> library, const std::string &name,
                                               const Notes &notes);

} // namespace vor
