#include "jobs/file_names.h"

#include "files/compression.h"

#include <vorhost/ascii.h>
#include <vorhost/files.h>

namespace vor {

std::string stata_path(const std::string &name) {
    return compression_of_name(name) == Compression::none ? unpacked_stata_path(name) : name;
}

std::string unpacked_stata_path(const std::string &path) {
    // The module takes a blank in front for padding.
    std::string name = (path.starts_with(' ') ? "./" : "") + uncompressed_name(path);
    constexpr std::string_view extension = ".dta";
    const size_t slash = name.find_last_of("/\\");
    const size_t start = slash == std::string::npos ? 0 : slash + 1;
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot >= start && lower_case(name.substr(dot)) == extension)
        return name;
    return name + std::string(extension);
}

} // namespace vor
