// vordta head: the first observations of a Stata file, or of a data set of a library, as a table.
#include "commands.h"
#include "destinations.h"
#include "display.h"
#include "run_libraries.h"
#include "table_sink.h"

#include <vorhost/conversion.h>
#include <vorhost/tables.h>

#include <fmt/format.h>

namespace vor::cli {
namespace {

// Rows that are held before they are shown, so near the beginning of a file.
constexpr int64_t rows_at_start = 1000;
constexpr int64_t default_limit = 10;

struct HeadOptions {
    std::string file;
    ReadingOptions reading;
    std::string labels = "codes";
    SelectionOptions selection;
    bool all = false;
};

// Whether all that is shown stands near the beginning of the file.
bool is_at_start(const WantedPart &part) {
    return part.limit >= 0 && part.selection.first_row + part.limit <= rows_at_start;
}

void show_dataset(const HeadOptions &options, const WantedPart &part, const Destination &place, Run &run) {
    refuse_reading_options(options.reading);
    if (!options.selection.where.empty())
        throw ConversionError(Failure::usage,
                              "--where chooses observations of a Stata file; sqlite3 does so in a library.");
    RunLibraries libraries({}, {"SOURCE", place.path}, Library::Access::read);
    const std::string dataset = place.dataset.empty() ? only_dataset(*libraries.data()) : place.dataset;
    const std::string name = place.path + ":" + dataset;
    const std::unique_ptr<BatchSource> source = libraries.data()->dataset_source(dataset, run.notes(), run.warnings());
    TableSink sink(options.labels, options.all, libraries.lookup());
    const int64_t rows = copy_rows(*source, name, part.selection, sink, part.limit);
    run.note(sink.note_of_width());
    run.note(note_of_empty_rows(options.selection, name, source->description().observations, rows));
}

void show_file(const HeadOptions &options, const WantedPart &part, Run &run) {
    check_stata_name(options.file);
    RunLibraries libraries({}, {}, Library::Access::write);
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    host.valid_variable_names = options.reading.valid_variable_names;
    const bool labels_wanted = options.labels != "codes";
    ImportSession session(host,
                          {labels_wanted, options.reading.encoding, libraries.place(), part.selection,
                           contract_of(options.reading.contract), options.selection.where.empty() && is_at_start(part)},
                          options.file);
    TableSink sink(options.labels, options.all, libraries.lookup());
    const auto chosen = chosen_rows(options.selection, part, options.file, options.reading.encoding, session, run);
    const int64_t rows =
        chosen ? copy_rows(*chosen, options.file, {}, sink, part.limit) : import_rows(session, sink, part.limit);
    const FileSummary &summary = session.summary();
    run.note(sink.note_of_width());
    run.note(note_of_empty_rows(options.selection, summary.file, summary.observations, rows));
}

void run_head(const HeadOptions &options, Run &run) {
    run.log.hide_results();
    const WantedPart part = wanted_part(options.selection, default_limit);
    if (const auto place = parse_library(options.file))
        show_dataset(options, part, *place, run);
    else
        show_file(options, part, run);
}

} // namespace

void add_head_command(CommandLine &line) {
    CLI::App *command =
        add_command(line, "head", "The first observations of a Stata file, or of a data set of a library",
                    {"vordta head survey.dta --labels text", "vordta head survey.dta --rows 101:120",
                     "vordta head survey.db:survey -n 5 --keep id,sex"});
    const auto options = std::make_shared<HeadOptions>();
    command->add_option("FILE", options->file, "Stata file, - for standard input, or LIBRARY.db[:DATASET]")->required();
    add_selection_options(*command, options->selection, "-n,--limit",
                          "Show N observations; default: 10, or all of --rows when it names the last one");
    command->add_flag("--all", options->all, "Show every variable, however wide the lines become");
    add_choice(*command, "--labels", options->labels, {"codes", "text", "both"},
               "Labelled values as numbers, as label text, or as both");
    add_reading_options(*command, options->reading);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_head(*options, run); }; });
}

} // namespace vor::cli
