#include "run_libraries.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/files.h>

#include <algorithm>
#include <fmt/format.h>

namespace vor::cli {
namespace {

constexpr const char *work_name = "WORK";
constexpr const char *offered_name = "_OFFERED";
constexpr const char *default_catalog = "FORMATS";

std::pair<std::string, std::string> parse_assignment(const std::string &text) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size())
        throw ConversionError(Failure::usage, fmt::format("\"{}\" names no library; write LIBRARY=PATH.", text));
    const FormatPlace place = FormatPlace::parse(text.substr(0, equals));
    if (!place.catalog.empty())
        throw ConversionError(Failure::usage, fmt::format("\"{}\": a library's name has no full stop.", text));
    return {upper_case(place.library), text.substr(equals + 1)};
}

} // namespace

void add_library_options(CLI::App &command, LibraryOptions &options) {
    command
        .add_option("--fmtlib", options.format_library,
                    "Catalog of user formats; default: FORMATS in the data set's library")
        ->type_name("LIBRARY.CATALOG");
    command
        .add_option("--libname", options.assigned_names,
                    "Name a SQLite library for --fmtlib; the data set's own is named DEST or SOURCE")
        ->type_name("LIBRARY=PATH")
        ->allow_extra_args(false);
}

std::string only_dataset(const Library &library) {
    const std::vector<std::string> names = library.dataset_names();
    if (names.size() == 1)
        return names.front();
    throw ConversionError(Failure::usage,
                          names.empty() ? fmt::format("{} holds no data set.", library.path())
                                        : fmt::format("{0} holds several data sets; name one of them, {0}:NAME: {1}.",
                                                      library.path(), fmt::join(names, ", ")));
}

RunLibraries::RunLibraries(const LibraryOptions &options, const Data &data, Library::Access access)
    : place_{data.path.empty() ? work_name : data.name, default_catalog},
      place_is_chosen_(!options.format_library.empty()) {
    std::vector<Assignment> assignments;
    for (const std::string &text : options.assigned_names)
        assignments.push_back(parse_assignment(text));
    if (!data.path.empty())
        assignments.emplace_back(data.name, data.path);
    if (place_is_chosen_)
        take_place(options.format_library);
    check_place(assignments);
    open(assignments, access);
    if (!data.path.empty())
        data_ = libraries_.find(data.name);
}

void RunLibraries::take_place(const std::string &text) {
    place_ = FormatPlace::parse(text);
    place_.library = upper_case(place_.library);
    if (place_.catalog.empty())
        place_.catalog = default_catalog;
}

void RunLibraries::check_place(const std::vector<Assignment> &assignments) const {
    for (size_t i = 0; i < assignments.size(); ++i)
        for (size_t j = 0; j < i; ++j)
            if (assignments[i].first == assignments[j].first)
                throw ConversionError(Failure::usage, fmt::format("Two libraries are named {}.", assignments[i].first));
    const bool known =
        place_.library == work_name || std::any_of(assignments.begin(), assignments.end(),
                                                   [this](const auto &one) { return one.first == place_.library; });
    if (!known)
        throw ConversionError(Failure::usage,
                              fmt::format("--fmtlib names the library {0}, which is not known; name it with "
                                          "--libname {0}=PATH.",
                                          place_.library));
}

void RunLibraries::open(const std::vector<Assignment> &assignments, Library::Access access) {
    std::map<std::string, std::shared_ptr<Library>> opened; // one connection a file: two would lock each other out
    for (const auto &[name, path] : assignments) {
        std::shared_ptr<Library> &library = opened[file_identity(path)];
        if (!library)
            library = Library::open(path, access);
        libraries_.assign(name, library);
    }
}

std::string RunLibraries::catalog_beside_data() {
    return data_ && libraries_.find(place_.library) == data_ ? place_.catalog : std::string();
}

std::unique_ptr<Transaction> RunLibraries::begin_formats() {
    const std::shared_ptr<Library> library = libraries_.find(place_.library);
    return library == data_ ? nullptr : library->transaction();
}

void RunLibraries::offer(const std::vector<UserFormat> &formats) {
    if (place_is_chosen_ || formats.empty())
        return;
    libraries_.assign(offered_name, Library::open(":memory:", Library::Access::write));
    place_ = {offered_name, default_catalog};
    for (const UserFormat &format : formats)
        libraries_.write(offered_name, default_catalog, format, false);
}

FormatLookup RunLibraries::lookup() {
    return [this](const std::string &name) -> const UserFormat * {
        const auto [entry, is_new] = found_.try_emplace(upper_case(name));
        if (is_new) {
            auto format = std::make_unique<UserFormat>();
            if (libraries_.read(place_.library, place_.catalog, name, *format))
                entry->second = std::move(format);
        }
        return entry->second.get();
    };
}

} // namespace vor::cli
