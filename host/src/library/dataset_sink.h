// Rows into a data set of a library.
#pragma once

#include "library/library_file.h"

namespace vor {

// As Library::dataset_sink.
std::unique_ptr<RowSink> make_dataset_sink(std::shared_ptr<LibraryFile> library, const std::string &name,
                                           const std::string &catalog);

} // namespace vor
