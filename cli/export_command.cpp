// vordta export: a data set of a SQLite library, or a CSV file, becomes a Stata file.
#include "commands.h"
#include "destinations.h"
#include "run_libraries.h"

#include <vorhost/conversion.h>
#include <vorhost/tables.h>

namespace vor::cli {
namespace {

struct ExportOptions {
    std::string source;
    std::string file;
    LibraryOptions libraries;
    std::string schema;
    bool labels_as_names = false;
};

std::unique_ptr<RowSource> text_source(const ExportOptions &options, const Destination &place, RunLibraries &libraries,
                                       const Notes &notes) {
    if (options.schema.empty())
        return delimited_source(place.path, place.separator, nullptr, notes);
    const Schema schema = read_schema(options.schema, notes);
    libraries.offer(schema.formats);
    return delimited_source(place.path, place.separator, &schema, notes);
}

void run_export(const ExportOptions &options, Run &run) {
    const Destination place = parse_source(options.source, options.file);
    const bool from_library = place.kind == Destination::Kind::library;
    if (from_library && !options.schema.empty())
        throw ConversionError(Failure::usage,
                              "--schema goes with a CSV or TSV file; a library knows everything itself.");
    for (const std::string &input : {place.path, options.schema})
        refuse_same_file({"FILE", options.file, true}, {input == place.path ? "SOURCE" : "--schema", input});
    for (const std::string &named : options.libraries.assigned_names)
        refuse_same_file({"FILE", options.file, true}, {"--libname", named});
    RunLibraries libraries(options.libraries, {"SOURCE", from_library ? place.path : ""}, Library::Access::read);
    const std::unique_ptr<RowSource> source =
        from_library ? libraries.data()->dataset_source(dataset_name(place, options.file), run.notes())
                     : text_source(options, place, libraries, run.notes());
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    ExportSession session(host, {options.labels_as_names, libraries.place()}, options.file, source->description());
    export_rows(session, *source, [&run](int64_t done, int64_t all) { run.progress.update(done, all); });
}

} // namespace

void add_export_command(CommandLine &line) {
    CLI::App *command = add_command(line, "export", "A data set becomes a Stata file",
                                    {"vordta export survey.db:survey copy.dta", "vordta export prices.csv prices.dta",
                                     "vordta export survey.csv survey.dta --schema survey.json"});
    const auto options = std::make_shared<ExportOptions>();
    command
        ->add_option("SOURCE", options->source,
                     "NAME.csv, NAME.tsv, may be compressed, - for CSV on standard input, or LIBRARY.db[:DATASET]")
        ->required();
    command->add_option("FILE", options->file, "Stata file (also .gz, .bz2, .xz, .zst, .zip), or - for standard output")
        ->required();
    command
        ->add_option("--schema", options->schema,
                     "Beside CSV: read names, types, labels, formats and user formats from this JSON file")
        ->type_name("FILE.json");
    command->add_flag("--labels-as-names", options->labels_as_names, "Variable labels become the names");
    add_library_options(*command, options->libraries);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_export(*options, run); }; });
}

} // namespace vor::cli
