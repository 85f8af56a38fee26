// The statement that tells the module where user formats go and come from.
#pragma once

#include <vorhost/conversion.h>

#include <string>

namespace vor {

// "FMTLIB=LIBRARY.CATALOG;", or nothing when the place is not given.
std::string format_statement(const FormatPlace &place);

} // namespace vor
