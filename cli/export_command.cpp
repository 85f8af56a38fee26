// vordta export: a data set of a SQLite library, or a CSV file, becomes a Stata file.
#include "commands.h"
#include "destinations.h"
#include "display.h"
#include "run_libraries.h"

#include <vorhost/conversion.h>
#include <vorhost/parquet.h>
#include <vorhost/tables.h>

#include <fmt/format.h>

namespace vor::cli {
namespace {

struct ExportOptions {
    std::string source;
    std::string file;
    LibraryOptions libraries;
    std::string schema;
    bool labels_as_names = false;
    std::string contract = default_contract;
    std::optional<std::string> types;
    std::vector<std::string> missing_texts;
    std::string separator;
    std::string encoding;
};

StoredTypes stored_types(const std::string &name) {
    return name == "smallest" ? StoredTypes::smallest
           : name == "double" ? StoredTypes::double_width
                              : StoredTypes::kept;
}

// The character that an option names, or the one that goes with the source's name.
char separator_of(const ExportOptions &options, const Destination &place) {
    const std::string &text = options.separator;
    if (text.empty())
        return place.separator;
    if (text == "tab" || text == "\\t")
        return '\t';
    const bool usable = text.size() == 1 && text != "\"" && text != "\n" && text != "\r" && (text[0] & 0x80) == 0;
    if (!usable)
        throw ConversionError(Failure::usage,
                              fmt::format("--separator \"{}\" is no separator; write one character of ASCII that is no "
                                          "quote, or tab.",
                                          text));
    return text[0];
}

std::unique_ptr<BatchSource> text_source(const ExportOptions &options, const Destination &place,
                                         RunLibraries &libraries, Run &run) {
    DelimitedInput input{.separator = separator_of(options, place),
                         .missing = options.missing_texts,
                         .log = &run.log,
                         .encoding = options.encoding,
                         .unpacking = run.options.unpacking(),
                         .threads = run.options.threads};
    if (options.schema.empty())
        return delimited_source(place.path, input);
    const Schema schema = read_schema(options.schema, run.notes(), run.options.unpacking());
    libraries.offer(schema.formats);
    input.schema = &schema;
    return delimited_source(place.path, input);
}

void check_usage(const ExportOptions &options, const Destination &place) {
    const bool from_library = place.kind == Destination::Kind::library;
    const bool text_options = !options.schema.empty() || !options.missing_texts.empty() || !options.separator.empty() ||
                              !options.encoding.empty();
    const struct {
        bool broken;
        const char *sentence;
    } rules[] = {
        {place.kind == Destination::Kind::parquet && text_options,
         "--schema, --na, --separator and --encoding go with a CSV or TSV file; a Parquet file knows everything "
         "itself."},
        {from_library && !options.schema.empty(),
         "--schema goes with a CSV or TSV file; a library knows everything itself."},
        {from_library && !options.missing_texts.empty(),
         "--na goes with a CSV or TSV file; a library has missing values of its own."},
        {from_library && !options.separator.empty(), "--separator goes with a CSV or TSV file."},
        {from_library && !options.encoding.empty(),
         "--encoding goes with a CSV or TSV file; a library's text is UTF-8."},
        {options.types && contract_of(options.contract) == Contract::base,
         "--types goes with --contract extended; under the base contract every number is a double."},
    };
    for (const auto &[broken, sentence] : rules)
        if (broken)
            throw ConversionError(Failure::usage, sentence);
    for (const std::string &input : {place.path, options.schema})
        refuse_same_file({"FILE", options.file, true}, {input == place.path ? "SOURCE" : "--schema", input});
    for (const std::string &named : options.libraries.assigned_names)
        refuse_same_file({"FILE", options.file, true}, {"--libname", named});
}

// The data set of a library that is meant: one of the file's name, or the only one.
std::string exported_dataset(const Destination &place, const std::string &file, const Library &library, Run &run) {
    if (!place.dataset.empty() || (file != "-" && library.has_dataset(dataset_name(place, file))))
        return dataset_name(place, file);
    std::string name = only_dataset(library);
    run.note(fmt::format("{} is exported, the only data set of {}.", name, place.path));
    return name;
}

void run_export(const ExportOptions &options, Run &run) {
    const Destination place = parse_source(options.source, options.file);
    const bool from_library = place.kind == Destination::Kind::library;
    check_usage(options, place);
    if (is_terminal(options.file))
        throw ConversionError(Failure::usage,
                              fmt::format("A Stata file is no text for a terminal; name a file, or send "
                                          "standard output to one: vordta export {} - > NAME.dta.",
                                          options.source));
    check_compression_level(options.file, run.options.compression_level);
    RunLibraries libraries(options.libraries, {"SOURCE", from_library ? place.path : ""}, Library::Access::read);
    const std::unique_ptr<BatchSource> source =
        place.kind == Destination::Kind::parquet ? parquet_source(place.path, run.options.threads, run.warnings())
        : from_library ? libraries.data()->dataset_source(exported_dataset(place, options.file, *libraries.data(), run),
                                                          run.notes(), run.warnings())
                       : text_source(options, place, libraries, run);
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    ExportSession::Options how{options.labels_as_names, libraries.place()};
    how.contract = contract_of(options.contract);
    how.types = stored_types(options.types.value_or("kept"));
    how.threads = run.options.threads;
    how.compression_level = run.options.compression_level;
    export_source(host, how, options.file, *source,
                  [&run](int64_t done, int64_t all) { run.progress.update(done, all); });
}

} // namespace

void add_export_command(CommandLine &line) {
    CLI::App *command = add_command(line, "export", "A data set becomes a Stata file",
                                    {"vordta export survey.db:survey copy.dta", "vordta export prices.csv prices.dta",
                                     "vordta export survey.csv survey.dta --schema survey.json"});
    const auto options = std::make_shared<ExportOptions>();
    command
        ->add_option("SOURCE", options->source,
                     "NAME.csv, NAME.tsv, may be compressed, - for CSV on standard input, NAME.parquet, or "
                     "LIBRARY.db[:DATASET]")
        ->required();
    command->add_option("FILE", options->file, "Stata file (also .gz, .bz2, .xz, .zst, .zip), or - for standard output")
        ->required();
    command
        ->add_option("--schema", options->schema,
                     "Beside CSV: read names, types, labels, formats and user formats from this JSON file")
        ->type_name("FILE.json");
    command->add_option("--na", options->missing_texts, "In CSV: a text that stands for a missing value")
        ->type_name("TEXT")
        ->allow_extra_args(false);
    command->add_option("--separator", options->separator, "Between the fields of CSV: a character, or tab")
        ->type_name("CHARACTER");
    command->add_option("--encoding", options->encoding, "Encoding of CSV; default: UTF-8")->type_name("NAME");
    command
        ->add_option("--types", options->types,
                     "Numbers as recorded, else as small as they fit; as small as they fit; or as doubles; default: "
                     "kept")
        ->type_name("kept|smallest|double")
        ->check(CLI::IsMember({"kept", "smallest", "double"}));
    add_contract_option(*command, options->contract);
    add_strict_option(line, *command);
    add_threads_option(line, *command);
    add_unpacking_option(line, *command);
    command->add_flag("--labels-as-names", options->labels_as_names, "Variable labels become the names");
    add_library_options(*command, options->libraries);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_export(*options, run); }; });
}

} // namespace vor::cli
