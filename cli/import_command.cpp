// vordta import: Stata files become a CSV file or data sets of a SQLite library.
#include "any_source.h"
#include "commands.h"
#include "destinations.h"
#include "display.h"
#include "run_libraries.h"

#include <vorhost/ascii.h>
#include <vorhost/conversion.h>
#include <vorhost/files.h>
#include <vorhost/parquet.h>
#include <vorhost/sentences.h>
#include <vorhost/tables.h>

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <set>

namespace vor::cli {
namespace {

struct ImportOptions {
    std::vector<std::string> places; // the Stata files, and last the destination
    ReadingOptions reading;
    LibraryOptions libraries;
    std::string value_labels = "on";
    std::string labels = "codes";
    bool raw = false;
    SelectionOptions selection;
    std::string schema;
    bool replace = false;
};

// What the arguments name.
struct ImportPlaces {
    std::vector<std::string> files;
    Destination destination;
    std::vector<std::string> datasets; // library only: the name that each file gets
};

LabelForm label_form(const std::string &name) {
    return name == "text" ? LabelForm::text : name == "both" ? LabelForm::both : LabelForm::codes;
}

void check_usage(const ImportOptions &options, const ImportPlaces &places) {
    const Destination &destination = places.destination;
    const bool library = destination.kind == Destination::Kind::library;
    const bool parquet = destination.kind == Destination::Kind::parquet;
    const bool labels_shown = options.labels != "codes";
    const bool schema = !options.schema.empty();
    const struct {
        bool broken;
        const char *sentence;
    } rules[] = {
        {library && options.raw, "--raw goes with a CSV or TSV file; a library keeps its own form of dates."},
        {library && labels_shown,
         "--labels goes with a CSV or TSV file; in a library the view DATASET_labelled shows the labels."},
        {library && schema, "--schema goes with a CSV or TSV file; a library keeps everything itself."},
        {parquet && (options.raw || labels_shown || schema),
         "--raw, --labels and --schema go with a CSV or TSV file; a Parquet file keeps codes, labels and dates."},
        {parquet && !options.selection.where.empty() && options.selection.limit,
         "--limit and --where together go with CSV, TSV and a library."},
        {!library && options.replace, "--replace goes with a library; a file is replaced anyway."},
        {labels_shown && options.value_labels == "off",
         "--labels text and --labels both need the value labels that --value-labels off leaves out."},
        {options.labels == "text" && schema,
         "--schema describes a file that holds the codes; it does not go with --labels text."},
    };
    for (const auto &[broken, sentence] : rules)
        if (broken)
            throw ConversionError(Failure::usage, sentence);
    for (const std::string &file : places.files) {
        refuse_same_file({"DEST", destination.path}, {"FILE", file, true});
        refuse_same_file({"--schema", options.schema}, {"FILE", file, true});
        for (const std::string &named : options.libraries.assigned_names)
            refuse_same_file({"--libname", named}, {"FILE", file, true});
    }
    refuse_same_file({"--schema", options.schema}, {"DEST", destination.path});
    for (const std::string &named : options.libraries.assigned_names) {
        refuse_same_file({"--schema", options.schema}, {"--libname", named});
        if (!library)
            refuse_same_file({"DEST", destination.path}, {"--libname", named});
    }
}

void check_several_files(const ImportPlaces &places) {
    const auto refuse = [](const std::string &sentence) { throw ConversionError(Failure::usage, sentence); };
    if (places.destination.kind != Destination::Kind::library)
        refuse(fmt::format("{} takes one Stata file; several go into a library: LIBRARY.db.",
                           places.destination.path == "-" ? "Standard output" : places.destination.path));
    if (!places.destination.dataset.empty())
        refuse(fmt::format("The data set {} is made of one Stata file; for several write {} alone, and each is named "
                           "after its file.",
                           places.destination.dataset, places.destination.path));
    std::map<std::string, size_t> taken;
    for (size_t i = 0; i < places.files.size(); ++i)
        if (const auto [entry, is_new] = taken.try_emplace(lower_case(places.datasets[i]), i); !is_new)
            refuse(fmt::format("{} and {} would both become the data set {}; import one of them as {}:NAME.",
                               places.files[entry->second], places.files[i], places.datasets[i],
                               places.destination.path));
}

ImportPlaces import_places(const ImportOptions &options) {
    ImportPlaces places{options.places, {}, {}};
    if (places.files.size() < 2)
        throw ConversionError(Failure::usage,
                              fmt::format("DEST is missing; write vordta import {0} NAME.csv, or vordta import {0} "
                                          "LIBRARY.db. (vordta import --help tells more.)",
                                          places.files.front()));
    places.destination = parse_destination(places.files.back(), places.files.front());
    places.files.pop_back();
    for (const std::string &file : places.files)
        check_stata_name(file);
    for (const std::string &file : places.files)
        if (places.destination.kind == Destination::Kind::library)
            places.datasets.push_back(dataset_name(places.destination, file));
    if (places.files.size() > 1)
        check_several_files(places);
    return places;
}

// The description with the user formats that its variables use besides its own label tables.
Schema schema_of(const DataSet &description, int64_t observations, const DelimitedOptions &form) {
    Schema schema{description, {}, form.raw};
    schema.description.observations = observations;
    const LabelLookup labels(description.label_tables, form.formats);
    std::set<std::string> taken;
    for (const Variable &variable : description.variables) {
        const UserFormat *format = labels.find_format(variable);
        if (format && taken.insert(format->name).second)
            schema.formats.push_back(*format);
    }
    return schema;
}

// Writes the schema too: it and the file that it describes appear together, when both are complete.
class SchemaSink : public BatchSink {
  public:
    SchemaSink(std::string path, const std::string &file, DelimitedOptions form)
        : path_(std::move(path)), form_(std::move(form)) {
        form_.group = &outputs_;
        file_ = delimited_sink(file, form_);
    }

    void begin(const DataSet &description) override {
        description_ = description;
        file_->begin(description);
    }
    void put(Batch &batch) override {
        rows_ += static_cast<int64_t>(batch.rows);
        file_->put(batch);
    }
    void finish() override {
        file_->finish();
        write_schema(path_, schema_of(description_, rows_, form_), &outputs_);
        outputs_.commit();
    }

  private:
    std::string path_;
    DelimitedOptions form_;
    OutputGroup outputs_;
    std::unique_ptr<BatchSink> file_;
    DataSet description_;
    int64_t rows_ = 0;
};

std::unique_ptr<BatchSink> text_sink(const ImportOptions &options, const Destination &destination,
                                     RunLibraries &libraries, Run &run) {
    DelimitedOptions form;
    form.log = &run.log;
    form.threads = run.options.threads;
    form.compression_level = run.options.compression_level;
    form.separator = destination.separator;
    form.raw = options.raw;
    form.labels = label_form(options.labels);
    form.formats = libraries.lookup();
    if (options.schema.empty())
        return delimited_sink(destination.path, form);
    return std::make_unique<SchemaSink>(options.schema, destination.path, form);
}

// What --where leaves of an import; the file is closed, with what there is to say, before the target appears.
int64_t import_chosen(ImportSession &session, BatchSource &chosen, BatchSink &sink, int64_t limit) {
    sink.begin(chosen.description());
    const auto most = static_cast<int64_t>(batch_rows(chosen.description().variables));
    int64_t rows = 0;
    for (Batch batch; rows != limit; sink.put(batch)) {
        if (!chosen.next(batch, static_cast<size_t>(limit < 0 ? most : std::min(most, limit - rows))))
            break;
        rows += static_cast<int64_t>(batch.rows);
    }
    session.close();
    sink.finish();
    return rows;
}

// One file, in a transaction of its own. dataset: its name in the library.
void import_file(const ImportOptions &options, const WantedPart &part, const std::string &file,
                 const Destination &destination, const std::string &dataset, RunLibraries &libraries, Run &run) {
    const bool into_library = destination.kind == Destination::Kind::library;
    // Labels belong to their data set, unless a catalog is named. What the module makes of them for a host that asks
    // for nothing goes to the usual catalog.
    const bool own_labels =
        contract_of(options.reading.contract) == Contract::extended && options.libraries.format_library.empty();
    const std::optional<std::string> catalog =
        own_labels ? std::nullopt : std::optional(libraries.catalog_beside_data());
    // The sink of a library holds the transaction that the user formats of the session are part of.
    std::unique_ptr<BatchSink> sink =
        into_library ? libraries.data()->dataset_sink(
                           dataset, catalog, options.replace ? Library::Tables::replaced : Library::Tables::kept)
                     : nullptr;
    const std::unique_ptr<Transaction> formats = libraries.begin_formats();
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    host.valid_variable_names = options.reading.valid_variable_names;
    ImportSession session(host,
                          {options.value_labels == "on", options.reading.encoding,
                           own_labels ? FormatPlace{} : libraries.place(), part.selection,
                           contract_of(options.reading.contract)},
                          file);
    const Progress progress = [&run](int64_t done, int64_t all) { run.progress.update(done, all); };
    int64_t rows = 0;
    std::unique_ptr<BatchSource> chosen =
        chosen_rows(options.selection, part, file, options.reading.encoding, session, run);
    if (destination.kind == Destination::Kind::parquet) {
        rows =
            write_parquet(destination.path, chosen ? std::move(chosen) : import_source(session, part.limit, progress),
                          {run.options.threads, libraries.lookup(), &run.log});
    } else {
        if (!into_library)
            sink = text_sink(options, destination, libraries, run);
        rows = chosen ? import_chosen(session, *chosen, *sink, part.limit)
                      : import_rows(session, *sink, part.limit, progress, run.options.threads);
    }
    if (formats)
        formats->commit();
    if (rows == part.limit) // else the end was reached, where the module counts
        run.note(fmt::format("The import data set has {} and {}.", counted(rows, "observation"),
                             counted(static_cast<int64_t>(session.description().variables.size()), "variable")));
    const FileSummary &summary = session.summary();
    run.note(note_of_empty_rows(options.selection, summary.file, summary.observations, rows));
}

// What is wanted of each file, where a name need not be in all of them but must be in one.
std::vector<WantedPart> wanted_parts(const ImportOptions &options, const std::vector<std::string> &files, Run &run) {
    std::vector<WantedPart> parts(files.size(), wanted_part(options.selection));
    if (files.size() == 1 || !parts.front().selection.chooses_variables())
        return parts;
    using Names = std::vector<std::string>;
    std::map<std::string, size_t> files_without;
    for (size_t i = 0; i < files.size(); ++i) {
        if (machine_files().is_stream(files[i]))
            continue; // it can be read once
        Selection &selection = parts[i].selection;
        const AnySource source(files[i], {.reading = options.reading, .head_only = true, .silent = true}, run);
        for (Names *names : {&selection.keep, &selection.drop}) {
            const Names absent = absent_names(source.description().variables, *names, selection.patterns);
            if (absent.empty())
                continue;
            for (const std::string &name : absent)
                if (++files_without[name] == files.size())
                    throw ConversionError(Failure::usage, fmt::format("None of the files has a variable {}.", name));
            if (absent.size() == selection.keep.size())
                throw ConversionError(Failure::usage, fmt::format("{} has none of the variables of --keep: {}.",
                                                                  files[i], fmt::join(absent, ", ")));
            std::erase_if(*names, [&](const std::string &name) {
                return std::find(absent.begin(), absent.end(), name) != absent.end();
            });
            run.note(fmt::format("{} has no variable {}.", files[i], fmt::join(absent, ", ")));
        }
    }
    return parts;
}

void run_import(const ImportOptions &options, Run &run) {
    const ImportPlaces places = import_places(options);
    check_usage(options, places);
    check_compression_level(places.destination.path, run.options.compression_level);
    const std::vector<WantedPart> parts = wanted_parts(options, places.files, run);
    const bool into_library = places.destination.kind == Destination::Kind::library;
    RunLibraries libraries(options.libraries, {"DEST", into_library ? places.destination.path : ""},
                           Library::Access::write);
    for (size_t i = 0; i < places.files.size(); ++i)
        import_file(options, parts[i], places.files[i], places.destination, into_library ? places.datasets[i] : "",
                    libraries, run);
}

void add_output_options(CLI::App &command, ImportOptions &options) {
    add_choice(command, "--value-labels", options.value_labels, {"on", "off"}, "Turn value labels into user formats");
    add_choice(command, "--labels", options.labels, {"codes", "text", "both"},
               "In CSV: labelled values as numbers, as label text, or as both");
    command.add_flag("--replace", options.replace,
                     "In a library: also a table that no import made gives way to the data set");
    command.add_flag("--raw", options.raw, "In CSV: dates as days, date-times and times as seconds");
    command
        .add_option("--schema", options.schema,
                    "Beside CSV: write names, types, labels, formats and user formats to this JSON file")
        ->type_name("FILE.json");
}

} // namespace

void add_import_command(CommandLine &line) {
    CLI::App *command = add_command(line, "import", "A Stata file becomes a data set",
                                    {"vordta import survey.dta survey.csv",
                                     "vordta import survey.dta survey.db --keep id,sex,income --rows :1000",
                                     "vordta import wave1.dta wave2.dta study.db"});
    const auto options = std::make_shared<ImportOptions>();
    // One option: which argument is the last one is known only when all have been read.
    command->add_option("FILE", options->places)->required();
    command->formatter(std::make_shared<PositionalsHelp>(
        "FILE... DEST", "  FILE ...                    Stata file, may be compressed, or - for standard input;\n"
                        "                              several when DEST is a library\n"
                        "  DEST                        NAME.csv, NAME.tsv (also .gz, .bz2, .xz, .zst, .zip),\n"
                        "                              - for CSV on standard output, NAME.parquet, or\n"
                        "                              LIBRARY.db[:DATASET]\n"));
    add_reading_options(*command, options->reading);
    add_unpacking_option(line, *command);
    add_strict_option(line, *command);
    add_threads_option(line, *command);
    add_selection_options(*command, options->selection, "--limit", "Stop after N observations");
    add_output_options(*command, *options);
    add_library_options(*command, options->libraries);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_import(*options, run); }; });
}

} // namespace vor::cli
