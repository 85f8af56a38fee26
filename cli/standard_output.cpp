#include "standard_output.h"

#include <vorhost/error.h>

#include <cerrno>
#include <fmt/format.h>
#include <system_error>
#include <unistd.h>

namespace vor::cli {

void write_standard_output(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw ConversionError(Failure::machine, fmt::format("Standard output cannot be written: {}.",
                                                                std::system_category().message(errno)));
        text.remove_prefix(static_cast<size_t>(written));
    }
}

} // namespace vor::cli
