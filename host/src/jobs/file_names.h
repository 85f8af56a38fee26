// File names of the jobs.
#pragma once

#include <string>
#include <string_view>

namespace vor {

inline constexpr std::string_view standard_stream = "-"; // standard input or output in place of a file

// The name with the extension "dta" added when it has none or another one, as the module does; the name of a
// compressed file is complete.
std::string stata_path(const std::string &name);

// What the module is told of a file that is compressed once it is written: the name of the content, with the extension
// "dta". For any other file the same as stata_path.
std::string unpacked_stata_path(const std::string &name);

} // namespace vor
