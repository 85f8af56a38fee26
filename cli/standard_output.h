// Standard output, with every failure told.
#pragma once

#include <string_view>

namespace vor::cli {

// Writes all of a text. ConversionError (machine) when the reader went away or there is no space.
void write_standard_output(std::string_view text);

} // namespace vor::cli
