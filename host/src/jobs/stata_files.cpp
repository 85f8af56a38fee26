#include "jobs/stata_files.h"

#include "files/input_file.h"

#include <vor/imglue.h>
#include <vor/stata_layout.h>
#include <vorhost/ascii.h>

#include <filesystem>

namespace vor {
namespace {

constexpr const char *input_reference = "VORIN";
constexpr std::string_view extension = ".dta";

bool has_extension(const std::string &name) {
    const size_t slash = name.find_last_of("/\\");
    const size_t start = slash == std::string::npos ? 0 : slash + 1;
    const size_t dot = name.rfind('.');
    return dot != std::string::npos && dot >= start && lower_case(name.substr(dot)) == extension;
}

StataHead head_of(const std::string &bytes) {
    const file_head head = read_head(bytes.data(), static_cast<int64_t>(bytes.size()));
    const release_layout *layout = find_release(head.release);
    const std::string_view label(head.label == nullptr ? "" : head.label, static_cast<size_t>(head.label_bytes));
    return {head.release, head.big_endian, head.observations, std::string(label.substr(0, label.find('\0'))),
            layout != nullptr && layout->text_is_utf8};
}

// The file that is meant: one of that very name, or with the extension.
std::string input_path(const std::string &file, FileSystem &files) {
    std::error_code ignored;
    const bool given = file == standard_stream || (files.exists(file) && !std::filesystem::is_directory(file, ignored));
    return given ? file : stata_path(file);
}

} // namespace

std::string stata_path(const std::string &name) {
    return uncompressed_name(name) == name ? unpacked_stata_path(name) : name;
}

std::string unpacked_stata_path(const std::string &path) {
    const std::string name = uncompressed_name(path);
    return has_extension(name) ? name : name + std::string(extension);
}

bool is_module_path(const std::string &path, FileSystem &files) {
    // Blanks are padding to the module, and stars and question marks name several files.
    return has_extension(path) && !path.starts_with(' ') && path.find_first_of("*?") == std::string::npos &&
           files.absolute(path).size() < static_cast<size_t>(IMGLUE_NAME_BYTES);
}

StataInput open_stata_input(const std::string &file, FileSystem &files, Unpacking unpacking) {
    const std::string path = input_path(file, files);
    const auto input = std::make_shared<InputFile>(path, InputFile::Options{.expected = InputFile::Content::stata,
                                                                            .text_name = "text, such as CSV",
                                                                            .head_bytes = LONGEST_HEAD_BYTES,
                                                                            .files = &files,
                                                                            .unpacking = unpacking});
    const StataHead head = head_of(input->head());
    if (input->is_plain() && is_module_path(path, files))
        return {path, path, head, nullptr, nullptr, input->remark()};
    auto stream = std::make_unique<InputStream>(input);
    const auto failure = stream->failure();
    return {input_reference, path == standard_stream ? "standard input" : path, head, std::move(stream), failure,
            input->remark()};
}

} // namespace vor
