// vordta head: the first observations of a Stata file as a table.
#include "commands.h"
#include "run_libraries.h"
#include "standard_output.h"
#include "text_table.h"

#include <vorhost/conversion.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

namespace vor::cli {
namespace {

// Rows that are measured, and held, before they are shown.
constexpr size_t rows_per_block = 1000;
constexpr size_t longest_cell = 40;

struct HeadOptions {
    std::string file;
    ReadingOptions reading;
    std::string labels = "codes";
    int64_t limit = 10;
};

class TableSink : public RowSink {
  public:
    TableSink(std::string labels, FormatLookup lookup) : labels_(std::move(labels)), lookup_(std::move(lookup)) {}

    void begin(const DataSet &description) override {
        std::vector<TextTable::Column> titles;
        for (const Variable &variable : description.variables) {
            const bool numeric = variable.kind == ValueKind::numeric;
            const Temporal temporal = numeric ? temporal_class(variable.format) : Temporal::none;
            const bool may_have_labels = labels_ != "codes" && numeric && !variable.format.name.empty();
            const UserFormat *format = may_have_labels ? lookup_(variable.format.name) : nullptr;
            columns_.push_back({numeric, temporal, format ? std::make_optional<LabelIndex>(*format) : std::nullopt});
            const bool code_shown = !format || labels_ == "both";
            if (code_shown)
                titles.push_back({variable.name, numeric ? TextTable::Side::right : TextTable::Side::left});
            if (format)
                titles.push_back({code_shown ? variable.name + "_label" : variable.name, TextTable::Side::left});
        }
        table_.emplace(titles, longest_cell);
    }

    void row(const Row &row) override {
        std::vector<std::string> cells;
        for (size_t i = 0; i < columns_.size(); ++i) {
            if (!columns_[i].numeric)
                cells.emplace_back(row.text(i));
            else
                add_number(cells, columns_[i], row.number(i));
        }
        table_->add(cells);
        if (table_->rows() >= rows_per_block)
            write_standard_output(table_->take());
    }

    void finish() override {
        if (!columns_.empty())
            write_standard_output(table_->take());
    }

  private:
    struct Column {
        bool numeric;
        Temporal temporal;
        std::optional<LabelIndex> labels; // none: codes only
    };

    void add_number(std::vector<std::string> &cells, const Column &column, double value) const {
        const auto iso =
            column.temporal != Temporal::none && !is_missing(value) ? iso_text(column.temporal, value) : std::nullopt;
        const std::string code = iso ? *iso : number_text(value);
        const std::string *label = column.labels ? column.labels->find(value) : nullptr;
        if (!column.labels || labels_ == "both")
            cells.push_back(code);
        if (column.labels)
            cells.push_back(label ? *label : labels_ == "both" ? "" : code);
    }

    std::string labels_;
    FormatLookup lookup_;
    std::vector<Column> columns_;
    std::optional<TextTable> table_;
};

void run_head(const HeadOptions &options, Run &run) {
    RunLibraries libraries({}, {}, Library::Access::write);
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    host.valid_variable_names = options.reading.valid_variable_names;
    const bool labels_wanted = options.labels != "codes";
    ImportSession session(host, {labels_wanted, options.reading.encoding, libraries.place()}, options.file);
    TableSink sink(options.labels, libraries.lookup());
    import_rows(session, sink, options.limit);
}

} // namespace

void add_head_command(CommandLine &line) {
    CLI::App *command = add_command(line, "head", "The first observations of a Stata file as a table");
    const auto options = std::make_shared<HeadOptions>();
    command->add_option("FILE", options->file, "Stata file, or - for standard input")->required();
    command->add_option("-n,--limit", options->limit, "Show N observations")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->add_option("--labels", options->labels, "Labelled values as numbers, as label text, or as both")
        ->type_name("codes|text|both")
        ->check(CLI::IsMember({"codes", "text", "both"}))
        ->capture_default_str();
    add_reading_options(*command, options->reading);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_head(*options, run); }; });
}

} // namespace vor::cli
