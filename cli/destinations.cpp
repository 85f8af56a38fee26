#include "destinations.h"

#include <vorhost/error.h>
#include <vorhost/files.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fmt/format.h>

namespace vor::cli {
namespace {

constexpr std::array library_extensions = {std::string_view(".db"), std::string_view(".sqlite")};

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// Where the library's path ends, at the end of the text or before the last colon that follows an extension; npos when
// no library is named.
size_t library_path_end(const std::string &text) {
    const std::string lower = lower_case(text);
    size_t end = std::string::npos;
    for (const std::string_view extension : library_extensions) {
        if (lower.ends_with(extension))
            return text.size();
        const size_t colon = lower.rfind(std::string(extension) + ":");
        if (colon != std::string::npos && (end == std::string::npos || colon + extension.size() > end))
            end = colon + extension.size();
    }
    return end;
}

// SQLite goes back and forth in its file, which compression rules out.
void refuse_compressed_library(const std::string &text) {
    const std::string path = text.substr(0, text.find_last_of(':'));
    const std::string plain = uncompressed_name(path);
    if (plain != path && library_path_end(plain) == plain.size())
        throw ConversionError(Failure::usage, fmt::format("\"{}\": a library cannot be compressed; name it {}, or name "
                                                          "a compressed CSV file, such as NAME.csv.gz.",
                                                          text, plain));
}

} // namespace

std::optional<Destination> parse_library(const std::string &text) {
    refuse_compressed_library(text);
    const size_t end = library_path_end(text);
    if (end == std::string::npos)
        return std::nullopt;
    Destination library{Destination::Kind::library, text.substr(0, end), ',', {}};
    if (end == text.size())
        return library;
    library.dataset = text.substr(end + 1);
    if (library.dataset.empty())
        throw ConversionError(Failure::usage, fmt::format("\"{}\" names no data set after the colon.", text));
    return library;
}

Destination parse_destination(const std::string &text) {
    if (text == "-")
        return {Destination::Kind::delimited, text, ',', {}};
    const std::string extension = lower_case(std::filesystem::path(uncompressed_name(text)).extension().string());
    if (extension == ".csv" || extension == ".tsv")
        return {Destination::Kind::delimited, text, extension == ".csv" ? ',' : '\t', {}};
    if (const auto library = parse_library(text))
        return *library;
    throw ConversionError(Failure::usage, fmt::format("\"{}\" is no data set; write NAME.csv, NAME.tsv (also .gz, .xz, "
                                                      ".zst, .zip), - for CSV on standard input or output, or "
                                                      "LIBRARY.db:DATASET.",
                                                      text));
}

std::string dataset_name(const Destination &destination, const std::string &file) {
    if (!destination.dataset.empty())
        return destination.dataset;
    if (file == "-")
        throw ConversionError(Failure::usage, fmt::format("Standard input and output have no name; name the data set: "
                                                          "{}:DATASET.",
                                                          destination.path));
    const std::filesystem::path path(uncompressed_name(file));
    return lower_case(path.extension().string()) == ".dta" ? path.stem().string() : path.filename().string();
}

} // namespace vor::cli
