// vordta head: the first observations of a Stata file, or of a data set of a library, as a table.
#include "commands.h"
#include "destinations.h"
#include "display.h"
#include "run_libraries.h"

#include <vorhost/conversion.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <fmt/format.h>
#include <map>
#include <unistd.h>

namespace vor::cli {
namespace {

// Rows that are measured, and held, before they are shown.
constexpr size_t rows_per_block = 1000;
constexpr size_t longest_cell = 40;
constexpr int64_t default_limit = 10;
constexpr size_t line_without_terminal = 1000; // columns, so that a pipe or a file gets lines that can be read

struct HeadOptions {
    std::string file;
    ReadingOptions reading;
    std::string labels = "codes";
    SelectionOptions selection;
    bool all = false;
};

// Whether all that is shown stands near the beginning of the file.
bool is_at_start(const WantedPart &part) {
    return part.limit >= 0 && part.selection.first_row + part.limit <= static_cast<int64_t>(rows_per_block);
}

class TableSink : public BatchSink {
  public:
    TableSink(const HeadOptions &options, FormatLookup lookup)
        : labels_(options.labels), all_(options.all), lookup_(std::move(lookup)) {}

    void begin(const DataSet &description) override {
        const LabelLookup labels(description.label_tables, lookup_);
        std::vector<TextTable::Column> titles;
        for (const Variable &variable : description.variables) {
            const bool numeric = variable.kind == ValueKind::numeric;
            const UserFormat *format = labels_ != "codes" && numeric ? labels.find(variable) : nullptr;
            columns_.push_back({numeric, variable.stored == StoredType::float32, temporal_class(variable),
                                format ? &indexes_.try_emplace(format, *format).first->second : nullptr});
            const bool code_shown = !format || labels_ == "both";
            if (code_shown)
                titles.push_back({variable.name, numeric ? TextTable::Side::right : TextTable::Side::left});
            if (format)
                titles.push_back({code_shown ? variable.name + "_label" : variable.name, TextTable::Side::left});
        }
        table_.emplace(titles, longest_cell);
        const size_t columns = terminal_columns(STDOUT_FILENO);
        if (!all_)
            table_->fit(columns == 0 ? line_without_terminal : columns);
        all_columns_ = titles.size();
    }

    void put(Batch &batch) override {
        for (size_t row = 0; row < batch.rows; ++row) {
            std::vector<std::string> cells;
            for (size_t i = 0; i < columns_.size(); ++i)
                add_cells(cells, columns_[i], batch.columns[i], row);
            table_->add(cells);
            if (table_->rows() >= rows_per_block)
                write_standard_output(table_->take());
        }
    }

    void finish() override {
        if (!columns_.empty())
            write_standard_output(table_->take());
    }

    // The note for columns that are left out; empty when none is.
    std::string note_of_width() const {
        const size_t shown = table_->shown();
        return shown == all_columns_ ? std::string()
                                     : fmt::format("{} of {} columns are shown, as many as fit on a line; --all shows "
                                                   "all of them, --keep those that you name.",
                                                   shown, all_columns_);
    }

  private:
    struct ShownColumn {
        bool numeric;
        bool single; // stored as a float
        Temporal temporal;
        const LabelIndex *labels; // null: codes only
    };

    void add_cells(std::vector<std::string> &cells, const ShownColumn &column, const Column &values, size_t row) const {
        if (column.numeric)
            add_number(cells, column, values.number(row));
        else
            cells.push_back(values.is_binary(row) ? fmt::format("({} bytes)", values.text(row).size())
                                                  : std::string(values.text(row)));
    }

    void add_number(std::vector<std::string> &cells, const ShownColumn &column, double value) const {
        const auto iso =
            column.temporal != Temporal::none && !is_missing(value) ? iso_text(column.temporal, value) : std::nullopt;
        const std::string code = iso ? *iso : column.single ? single_text(value) : number_text(value);
        const std::string *label = column.labels ? column.labels->find(value) : nullptr;
        if (!column.labels || labels_ == "both")
            cells.push_back(code);
        if (column.labels)
            cells.push_back(label ? *label : labels_ == "both" ? "" : code);
    }

    std::string labels_;
    bool all_;
    size_t all_columns_ = 0;
    FormatLookup lookup_;
    std::map<const UserFormat *, LabelIndex> indexes_; // variables may share one
    std::vector<ShownColumn> columns_;
    std::optional<TextTable> table_;
};

void show_dataset(const HeadOptions &options, const WantedPart &part, const Destination &place, Run &run) {
    refuse_reading_options(options.reading);
    RunLibraries libraries({}, {"SOURCE", place.path}, Library::Access::read);
    const std::string dataset = place.dataset.empty() ? only_dataset(*libraries.data()) : place.dataset;
    const std::string name = place.path + ":" + dataset;
    const std::unique_ptr<BatchSource> source = libraries.data()->dataset_source(dataset, run.notes(), run.warnings());
    TableSink sink(options, libraries.lookup());
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
                           contract_of(options.reading.contract), is_at_start(part)},
                          options.file);
    TableSink sink(options, libraries.lookup());
    const int64_t rows = import_rows(session, sink, part.limit);
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
