// Text from a file as a terminal may show it, and how wide it is there.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vor::cli {

// UTF-8 with every control character and every byte that is no UTF-8 written as an escape ("\n", "\x1b"), so that
// nothing in a file can move the cursor or forge a line. longest_columns: text that is wider is cut, with "…" at the
// end.
std::string display_text(std::string_view text, size_t longest_columns = static_cast<size_t>(-1));

// Columns that a display_text takes on a terminal.
size_t display_columns(std::string_view text);

} // namespace vor::cli
