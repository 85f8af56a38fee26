// vordta formats: the user formats of a library's catalogs.
#include "commands.h"
#include "destinations.h"
#include "display.h"

#include <vorhost/ascii.h>
#include <vorhost/description.h>
#include <vorhost/library.h>

#include <fmt/format.h>

namespace vor::cli {
namespace {

struct FormatsOptions {
    std::string place; // LIBRARY.db[:CATALOG]
    std::string name;  // empty: all formats
    bool json = false;
};

UserFormat read_format(const Library &library, const std::string &catalog, const std::string &name) {
    UserFormat format;
    if (!library.read_format(catalog, name, format))
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: the catalog {} holds no format {}.", library.path(), catalog, name));
    return format;
}

Catalog read_catalog(const Library &library, const std::string &name) {
    Catalog catalog{name, {}};
    for (const std::string &format : library.format_names(name))
        catalog.formats.push_back(read_format(library, name, format));
    return catalog;
}

// The catalogs asked for: one when it is named, else all of them.
std::vector<std::string> catalogs_of(const Library &library, const std::string &wanted) {
    std::vector<std::string> names = library.catalog_names();
    if (wanted.empty())
        return names;
    std::erase_if(names, [&](const std::string &name) { return !same_but_for_case(name, wanted); });
    if (names.empty())
        throw ConversionError(Failure::conversion, fmt::format("{} holds no catalog {}.", library.path(), wanted));
    return names;
}

// With a format's name: that format alone, from the first of the catalogs that holds it.
std::vector<Catalog> read_catalogs(const Library &library, const std::string &wanted, const std::string &format_name) {
    std::vector<Catalog> catalogs;
    for (const std::string &name : catalogs_of(library, wanted)) {
        if (format_name.empty()) {
            catalogs.push_back(read_catalog(library, name));
            continue;
        }
        UserFormat format;
        if (library.read_format(name, format_name, format))
            return {{name, {format}}};
    }
    if (!format_name.empty())
        throw ConversionError(Failure::conversion, fmt::format("{} holds no format {}{}.", library.path(), format_name,
                                                               wanted.empty() ? "" : " in the catalog " + wanted));
    return catalogs;
}

std::string list_text(const std::vector<Catalog> &catalogs) {
    TextTable table({{"Catalog"}, {"Format"}, {"Type"}, {"Values", TextTable::Side::right}, {"First label"}});
    for (const Catalog &catalog : catalogs)
        for (const UserFormat &format : catalog.formats) {
            const bool labelled = !format.ranges.empty() && !format.ranges.front().labels.empty();
            table.add({catalog.name, format.name, kind_name(format.kind), fmt::format("{}", format.ranges.size()),
                       labelled ? format.ranges.front().labels.front() : ""});
        }
    return table.take();
}

std::string format_detail(const Catalog &catalog) {
    const UserFormat &format = catalog.formats.front();
    TextTable table({{"Value", TextTable::Side::right}, {"Label"}});
    for (const FormatRange &range : format.ranges)
        for (const std::string &label : range.labels)
            table.add({range_text(range), label});
    return fmt::format("{}.{} ({}{})\n\n{}", display_text(catalog.name), display_text(format.name),
                       kind_name(format.kind), format.multilabel ? ", several labels for a value" : "", table.take());
}

void run_formats(const FormatsOptions &options) {
    const auto place = parse_library(options.place);
    if (!place)
        throw ConversionError(
            Failure::usage,
            fmt::format("\"{}\" is no library; write LIBRARY.db or LIBRARY.db:CATALOG.", options.place));
    const auto library = Library::open(place->path, Library::Access::read);
    const std::vector<Catalog> catalogs = read_catalogs(*library, place->dataset, options.name);
    write_standard_output(options.json           ? catalogs_json(place->path, catalogs)
                          : options.name.empty() ? list_text(catalogs)
                                                 : format_detail(catalogs.front()));
}

} // namespace

void add_formats_command(CommandLine &line) {
    CLI::App *command = add_command(
        line, "formats", "The user formats of a library's catalogs",
        {"vordta formats survey.db", "vordta formats survey.db sex", "vordta formats survey.db:OLD --json"});
    const auto options = std::make_shared<FormatsOptions>();
    command->add_option("LIBRARY", options->place, "LIBRARY.db[:CATALOG]; all catalogs when none is named")->required();
    command->add_option("NAME", options->name, "One format, with all its values and labels");
    command->add_flag("--json", options->json, "One JSON object");
    command->callback([&line, options] { line.chosen = [options](Run &) { run_formats(*options); }; });
}

} // namespace vor::cli
