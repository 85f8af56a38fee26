// vordta diff: how two data sets differ.
#include "any_source.h"
#include "commands.h"
#include "destinations.h"
#include "display.h"

#include <vorhost/difference.h>
#include <vorhost/error.h>
#include <vorhost/sentences.h>

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>

namespace vor::cli {
namespace {

constexpr int they_differ = 1; // exit status

struct DiffOptions {
    std::string first;
    std::string second;
    ReadingOptions reading;
    size_t limit = 50;
};

// A table of what differs; lines beyond the limit are only counted.
class DifferenceTable {
  public:
    DifferenceTable(const DiffOptions &options, std::vector<TextTable::Column> columns)
        : table_(with_names(std::move(columns), options), longest_cell()), limit_(options.limit) {}

    void add(std::vector<std::string> cells) {
        for (std::string &cell : cells)
            cell = cell.empty() ? "-" : cell;
        if (++lines_ <= limit_)
            table_.add(cells);
    }

    // all: of which those that were added may be a part.
    void show(size_t all) {
        if (lines_ == 0)
            return;
        std::string text = table_.take();
        if (const size_t shown = std::min(lines_, limit_); all > shown)
            text += fmt::format("and {} more; --limit shows them.\n", all - shown);
        write_standard_output(text + "\n");
    }

    size_t lines() const { return lines_; }

  private:
    // Three wide columns share a line.
    static size_t longest_cell() {
        constexpr size_t usual = 45;
        constexpr size_t least = 12;
        const size_t columns = terminal_columns(STDOUT_FILENO);
        return columns == 0 ? usual : std::max(least, columns / 3 - 2);
    }

    static std::vector<TextTable::Column> with_names(std::vector<TextTable::Column> columns,
                                                     const DiffOptions &options) {
        columns.push_back({options.first});
        columns.push_back({options.second});
        return columns;
    }

    TextTable table_;
    size_t limit_;
    size_t lines_ = 0;
};

std::string number(int64_t value) {
    return fmt::format("{}", value);
}

void show_values(const DiffOptions &options, const ValueDifferences &found) {
    constexpr auto right = TextTable::Side::right;
    DifferenceTable values(options, {{"Observation", right}, {"Variable"}});
    for (const ValueDifferences::Value &one : found.values)
        values.add({number(one.observation), one.variable, one.first, one.second});
    size_t differing = 0;
    TextTable counts({{"Variable"}, {"Differing values", right}, {"First in observation", right}});
    for (const ValueDifferences::Of &one : found.variables) {
        counts.add({one.variable, number(one.values), number(one.first_observation)});
        differing += static_cast<size_t>(one.values);
    }
    if (differing > 0)
        write_standard_output(counts.take() + "\n");
    values.show(differing);
}

void run_diff(const DiffOptions &options, Run &run) {
    if (options.first == "-" && options.second == "-")
        throw ConversionError(Failure::usage, "Standard input holds one data set; name a file for the other one.");
    run.log.hide_results();
    AnySource first(options.first, {.reading = options.reading, .tables = true}, run);
    AnySource second(options.second, {.reading = options.reading, .tables = true}, run);
    std::vector<Difference> structure = description_differences(first.description(), second.description());
    const ValueDifferences values =
        value_differences(first.rows(), second.rows(), options.limit,
                          [&run](int64_t done, int64_t all) { run.progress.update(done, all); });
    run.progress.erase();
    first.close();
    second.close();
    if (values.first_observations != values.second_observations)
        structure.insert(structure.begin(),
                         {"observations", number(values.first_observations), number(values.second_observations)});
    DifferenceTable table(options, {{"Difference"}});
    for (const Difference &one : structure)
        table.add({one.what, one.first, one.second});
    table.show(structure.size());
    show_values(options, values);
    run.status = structure.empty() && values.variables.empty() ? 0 : they_differ;
}

} // namespace

void add_diff_command(CommandLine &line) {
    CLI::App *command = add_command(line, "diff", "How two data sets differ; exit status 1 when they do",
                                    {"vordta diff wave1.dta wave2.dta", "vordta diff survey.dta survey.db:survey"});
    const auto options = std::make_shared<DiffOptions>();
    const std::string place = "Stata file, - for standard input, NAME.csv, NAME.tsv, NAME.parquet, or "
                              "LIBRARY.db[:DATASET]";
    command->add_option("A", options->first, place)->required();
    command->add_option("B", options->second, "The other one")->required();
    command->add_option("--limit", options->limit, "Show N differences of each kind")
        ->type_name("N")
        ->check(CLI::Range(size_t{0}, size_t{1000000000}))
        ->capture_default_str();
    add_reading_options(*command, options->reading);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_diff(*options, run); }; });
}

} // namespace vor::cli
