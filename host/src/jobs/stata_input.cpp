#include "jobs/stata_input.h"

#include "files/unpacker.h"
#include "jobs/file_names.h"
#include "jobs/standard_streams.h"

#include <vor/stata_layout.h>
#include <vorhost/error.h>

#include <fmt/format.h>

namespace vor {
namespace {

constexpr const char *input_reference = "VORIN";

[[noreturn]] void fail(const std::string &path, std::error_code error) {
    throw ConversionError(Failure::machine, fmt::format("{} cannot be read: {}.", path, error.message()));
}

StataHead head_of(const std::string &bytes) {
    const file_head head = read_head(bytes.data(), static_cast<int64_t>(bytes.size()));
    const release_layout *layout = find_release(head.release);
    const std::string_view label(head.label == nullptr ? "" : head.label, static_cast<size_t>(head.label_bytes));
    return {head.release, head.big_endian, head.observations, std::string(label.substr(0, label.find('\0'))),
            layout != nullptr && layout->text_is_utf8};
}

PackedFile open_file(const std::string &path, FileSystem &files) {
    std::error_code error;
    const std::shared_ptr<ByteFile> file = files.open(path, OpenMode::read, error);
    const uint64_t bytes = error || !file ? 0 : file->size(error);
    if (error || !file)
        fail(path, error);
    const auto read = [file, path](uint64_t position, std::span<char> buffer) {
        std::error_code failure;
        const size_t got = file->read(position, buffer, failure);
        if (failure)
            fail(path, failure);
        return got;
    };
    return {path, read, bytes};
}

// Standard input, of which the head is known.
PackedFile packed_input(const std::shared_ptr<InputStream> &stream) {
    const auto read = [stream](uint64_t position, std::span<char> buffer) {
        std::error_code error;
        const size_t got = stream->read(position, buffer, error);
        if (*stream->failure())
            std::rethrow_exception(*stream->failure());
        return got;
    };
    return {"Standard input", read};
}

InputStream::Source content(Compression compression, const PackedFile &file) {
    if (compression == Compression::none)
        return [read = file.read, position = uint64_t{0}](std::span<char> buffer) mutable {
            const size_t got = read(position, buffer);
            position += got;
            return got;
        };
    const std::shared_ptr<Unpacker> unpacker = unpack(compression, file);
    return [unpacker](std::span<char> buffer) { return unpacker->read(buffer); };
}

StataInput input_of(std::unique_ptr<InputStream> stream, const std::string &shown_name) {
    const StataHead head = head_of(stream->head());
    const auto failure = stream->failure();
    return {input_reference, shown_name, head, std::move(stream), failure};
}

StataInput open_standard_input() {
    auto stream = std::make_unique<InputStream>(read_standard_input, LONGEST_HEAD_BYTES);
    const Compression compression = compression_of_bytes(stream->head());
    if (compression != Compression::none)
        stream =
            std::make_unique<InputStream>(content(compression, packed_input(std::move(stream))), LONGEST_HEAD_BYTES);
    return input_of(std::move(stream), "standard input");
}

} // namespace

StataInput open_stata_input(const std::string &file, FileSystem &files) {
    if (file == standard_stream)
        return open_standard_input();
    const std::string path = stata_path(file);
    const PackedFile packed = open_file(path, files);
    const InputStream plain(content(Compression::none, packed), LONGEST_HEAD_BYTES);
    const Compression compression = compression_of_bytes(plain.head());
    const bool by_name = compression == Compression::none && compression_of_name(path) == Compression::none;
    if (by_name)
        return {path, path, head_of(plain.head()), nullptr};
    StataInput input = input_of(std::make_unique<InputStream>(content(compression, packed), LONGEST_HEAD_BYTES), path);
    input.remark = misnamed(path, compression);
    return input;
}

} // namespace vor
