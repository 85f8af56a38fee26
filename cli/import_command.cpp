// vordta import: a Stata file becomes a CSV file or a data set of a SQLite library.
#include "commands.h"
#include "destinations.h"
#include "run_libraries.h"

#include <vorhost/conversion.h>
#include <vorhost/tables.h>

#include <fmt/format.h>
#include <set>

namespace vor::cli {
namespace {

struct ImportOptions {
    std::string file;
    std::string destination;
    ReadingOptions reading;
    LibraryOptions libraries;
    std::string value_labels = "on";
    std::string labels = "codes";
    bool raw = false;
    int64_t limit = -1;
    std::string schema;
};

LabelForm label_form(const std::string &name) {
    return name == "text" ? LabelForm::text : name == "both" ? LabelForm::both : LabelForm::codes;
}

void check_usage(const ImportOptions &options, const Destination &destination) {
    const auto refuse = [](const char *sentence) { throw ConversionError(Failure::usage, sentence); };
    const bool labels_shown = options.labels != "codes";
    if (destination.kind == Destination::Kind::library) {
        if (options.raw)
            refuse("--raw goes with a CSV or TSV file; a library keeps its own form of dates.");
        if (labels_shown)
            refuse("--labels goes with a CSV or TSV file; in a library the view DATASET_labelled shows the labels.");
        if (!options.schema.empty())
            refuse("--schema goes with a CSV or TSV file; a library keeps everything itself.");
    }
    if (labels_shown && options.value_labels == "off")
        refuse("--labels text and --labels both need the value labels that --value-labels off leaves out.");
    if (options.labels == "text" && !options.schema.empty())
        refuse("--schema describes a file that holds the codes; it does not go with --labels text.");
}

// The description with the user formats that its variables use.
Schema schema_of(const DataSet &description, int64_t observations, const FormatLookup &lookup) {
    Schema schema{description, {}};
    schema.description.observations = observations;
    std::set<std::string> taken;
    for (const Variable &variable : description.variables) {
        const UserFormat *format = variable.format.name.empty() ? nullptr : lookup(variable.format.name);
        if (format && taken.insert(format->name).second)
            schema.formats.push_back(*format);
    }
    return schema;
}

// Writes the schema before the file that it describes appears: a schema that cannot be written leaves neither.
class SchemaSink : public RowSink {
  public:
    SchemaSink(std::string path, FormatLookup lookup, std::unique_ptr<RowSink> file)
        : path_(std::move(path)), lookup_(std::move(lookup)), file_(std::move(file)) {}

    void begin(const DataSet &description) override {
        description_ = description;
        file_->begin(description);
    }
    void row(const Row &row) override {
        ++rows_;
        file_->row(row);
    }
    void finish() override {
        write_schema(path_, schema_of(description_, rows_, lookup_));
        file_->finish();
    }

  private:
    std::string path_;
    FormatLookup lookup_;
    std::unique_ptr<RowSink> file_;
    DataSet description_;
    int64_t rows_ = 0;
};

std::unique_ptr<RowSink> library_sink(const ImportOptions &options, const Destination &destination,
                                      RunLibraries &libraries) {
    return libraries.data()->dataset_sink(dataset_name(destination, options.file), libraries.catalog_beside_data());
}

std::unique_ptr<RowSink> text_sink(const ImportOptions &options, const Destination &destination,
                                   RunLibraries &libraries) {
    DelimitedOptions form;
    form.separator = destination.separator;
    form.raw = options.raw;
    form.labels = label_form(options.labels);
    form.formats = libraries.lookup();
    std::unique_ptr<RowSink> file = delimited_sink(destination.path, form);
    if (options.schema.empty())
        return file;
    return std::make_unique<SchemaSink>(options.schema, libraries.lookup(), std::move(file));
}

void run_import(const ImportOptions &options, Run &run) {
    const Destination destination = parse_destination(options.destination);
    check_usage(options, destination);
    const bool into_library = destination.kind == Destination::Kind::library;
    RunLibraries libraries(options.libraries, {"DEST", into_library ? destination.path : ""}, Library::Access::write);
    // The sink of a library holds the transaction that the user formats of the session are part of.
    std::unique_ptr<RowSink> sink = into_library ? library_sink(options, destination, libraries) : nullptr;
    const std::unique_ptr<Transaction> formats = libraries.begin_formats();
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    host.valid_variable_names = options.reading.valid_variable_names;
    ImportSession session(host, {options.value_labels == "on", options.reading.encoding, libraries.place()},
                          options.file);
    if (!into_library)
        sink = text_sink(options, destination, libraries);
    import_rows(session, *sink, options.limit, [&run](int64_t done, int64_t all) { run.progress.update(done, all); });
    if (formats)
        formats->commit();
}

void add_output_options(CLI::App &command, ImportOptions &options) {
    command.add_option("--value-labels", options.value_labels, "Turn value labels into user formats")
        ->type_name("on|off")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    command.add_option("--labels", options.labels, "In CSV: labelled values as numbers, as label text, or as both")
        ->type_name("codes|text|both")
        ->check(CLI::IsMember({"codes", "text", "both"}))
        ->capture_default_str();
    command.add_flag("--raw", options.raw, "In CSV: dates as days, date-times and times as seconds");
    command.add_option("--limit", options.limit, "Stop after N observations")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    command
        .add_option("--schema", options.schema,
                    "Beside CSV: write names, types, labels, formats and user formats to this JSON file")
        ->type_name("FILE.json");
}

} // namespace

void add_import_command(CommandLine &line) {
    CLI::App *command = add_command(line, "import", "A Stata file becomes a data set");
    const auto options = std::make_shared<ImportOptions>();
    command->add_option("FILE", options->file, "Stata file, may be compressed, or - for standard input")->required();
    command
        ->add_option(
            "DEST", options->destination,
            "NAME.csv, NAME.tsv (also .gz, .xz, .zst, .zip), - for CSV on standard output, or LIBRARY.db[:DATASET]")
        ->required();
    add_reading_options(*command, options->reading);
    add_output_options(*command, *options);
    add_library_options(*command, options->libraries);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_import(*options, run); }; });
}

} // namespace vor::cli
