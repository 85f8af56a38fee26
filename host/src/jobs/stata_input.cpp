#include "jobs/stata_input.h"

#include "jobs/file_names.h"
#include "jobs/standard_streams.h"

#include <vorhost/error.h>

#include <fmt/format.h>

namespace vor {
namespace {

constexpr const char *input_reference = "VORIN";

std::string read_head_bytes(const std::string &path, FileSystem &files) {
    std::error_code error;
    std::string head(stata_head_bytes, '\0');
    const std::unique_ptr<ByteFile> file = files.open(path, OpenMode::read, error);
    size_t done = 0;
    for (size_t got = 1; file && !error && got > 0; done += got)
        got = file->read(done, std::span(head).subspan(done), error);
    head.resize(done);
    if (error)
        throw ConversionError(Failure::machine, fmt::format("{} cannot be read: {}.", path, error.message()));
    return head;
}

} // namespace

StataInput open_stata_input(const std::string &file, FileSystem &files) {
    if (file == standard_stream) {
        auto stream = std::make_unique<StandardInput>(stata_head_bytes);
        const StataHead head = read_stata_head(stream->head());
        return {input_reference, "standard input", head, std::move(stream)};
    }
    const std::string path = stata_path(file);
    return {path, path, read_stata_head(read_head_bytes(path, files)), nullptr};
}

} // namespace vor
