#include "destinations.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/files.h>

#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <vector>

namespace vor::cli {
namespace {

constexpr std::array library_extensions = {std::string_view(".db"), std::string_view(".sqlite")};

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

bool is_stata_name(const std::string &text) {
    return lower_case(uncompressed_name(text)).ends_with(".dta");
}

std::string no_data_set(const std::string &text, const char *standard_stream) {
    return fmt::format("\"{}\" is no data set; write NAME.csv, NAME.tsv (also .gz, .bz2, .xz, .zst, .zip), - for CSV "
                       "on standard {}, NAME.parquet, or LIBRARY.db:DATASET.",
                       text, standard_stream);
}

// The paths that an argument may stand for.
std::vector<std::string> paths_of(const NamedFile &file) {
    const std::string &argument = file.argument;
    if (argument.empty() || argument == "-")
        return {};
    std::vector<std::string> paths = {argument};
    if (file.stata && !is_stata_name(argument))
        paths.push_back(argument + ".dta");
    if (const size_t end = library_path_end(argument); end != std::string::npos)
        paths.push_back(argument.substr(0, end));
    if (const size_t equals = argument.find('='); equals != std::string::npos)
        paths.push_back(argument.substr(equals + 1));
    return paths;
}

[[noreturn]] void refuse(const std::string &sentence) {
    throw ConversionError(Failure::usage, sentence);
}

} // namespace

std::optional<Destination> parse_place(const std::string &text) {
    if (text == "-")
        return Destination{Destination::Kind::delimited, text, ',', {}};
    const std::string extension = lower_case(std::filesystem::path(uncompressed_name(text)).extension().string());
    if (extension == ".csv" || extension == ".tsv")
        return Destination{Destination::Kind::delimited, text, extension == ".csv" ? ',' : '\t', {}};
    if (lower_case(text).ends_with(".parquet"))
        return Destination{Destination::Kind::parquet, text, ',', {}};
    return parse_library(text);
}

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

Destination parse_destination(const std::string &text, const std::string &other) {
    if (const auto place = parse_place(text))
        return *place;
    refuse(is_stata_name(text) && !is_stata_name(other)
               ? fmt::format("{0} is a Stata file; to write one: vordta export {1} {0}.", text, other)
               : no_data_set(text, "output"));
}

Destination parse_source(const std::string &text, const std::string &other) {
    if (const auto place = parse_place(text))
        return *place;
    refuse(is_stata_name(text) && !is_stata_name(other)
               ? fmt::format("{0} is a Stata file; to read one: vordta import {0} {1}.", text, other)
               : no_data_set(text, "input"));
}

void check_stata_name(const std::string &file) {
    std::error_code ignored;
    if (file == "-" || !parse_place(file) || std::filesystem::exists(file + ".dta", ignored))
        return;
    refuse(fmt::format("{0} is no Stata file; to make one of it: vordta export {0} NAME.dta.", file));
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

void refuse_same_file(const NamedFile &output, const NamedFile &other) {
    for (const std::string &one : paths_of(output))
        for (const std::string &path : paths_of(other))
            if (is_same_file(one, path))
                refuse(fmt::format("{} and {} name the same file; {} needs one of its own.", output.what, other.what,
                                   output.what == "--log"      ? "the log"
                                   : output.what == "--schema" ? "the schema"
                                                               : output.what));
}

} // namespace vor::cli
