// vordta describe: what a Stata file, or a data set of a library, holds. No observation is read.
#include "commands.h"
#include "destinations.h"
#include "display.h"
#include "run_libraries.h"

#include <vorhost/conversion.h>
#include <vorhost/description.h>

#include <fmt/format.h>

namespace vor::cli {
namespace {

constexpr size_t labels_shown = 20; // of one format, in the table for people

struct DescribeOptions {
    std::string file;
    ReadingOptions reading;
    bool json = false;
};

// What is described; a data set of a library has no release.
struct Description {
    FileSummary summary;
    DataSet data_set;
    FormatLookup formats;
};

std::string head_text(const Description &description) {
    const FileSummary &summary = description.summary;
    std::string text = fmt::format("File          {}\n", display_text(summary.file));
    if (summary.release != 0)
        text += fmt::format("Release       {}, {} byte first\n", summary.release,
                            summary.big_endian ? "most significant" : "least significant");
    if (!summary.data_label.empty())
        text += fmt::format("Label         {}\n", display_text(summary.data_label));
    return text + fmt::format("Observations  {}\nVariables     {}\n", summary.observations,
                              description.data_set.variables.size());
}

std::string variables_text(const Description &description) {
    constexpr auto right = TextTable::Side::right;
    constexpr auto left = TextTable::Side::left;
    TextTable table(
        {{"#", right}, {"Name", left}, {"Type", left}, {"Length", right}, {"Format", left}, {"Label", left}});
    size_t ordinal = 0;
    for (const Variable &variable : description.data_set.variables)
        table.add({fmt::format("{}", ++ordinal), variable.name, kind_name(variable.kind),
                   fmt::format("{}", variable.length), format_text(variable.format), variable.label});
    return "\n" + table.take();
}

std::string labels_text(const Variable &variable, const UserFormat &format) {
    TextTable table({{"  Value", TextTable::Side::right}, {"Label", TextTable::Side::left}});
    for (size_t i = 0; i < format.ranges.size() && i < labels_shown; ++i) {
        const FormatRange &range = format.ranges[i];
        table.add({range_text(range), range.labels.empty() ? "" : range.labels.front()});
    }
    const std::string name = variable.label_table.empty() ? format_text(variable.format) : variable.label_table;
    std::string text =
        fmt::format("\nValue labels of {} ({})\n{}", display_text(variable.name), display_text(name), table.take());
    if (format.ranges.size() > labels_shown)
        text += fmt::format("  and {} more; --json shows all.\n", format.ranges.size() - labels_shown);
    return text;
}

std::string text_of(const Description &description) {
    std::string text = head_text(description);
    if (description.data_set.variables.empty())
        return text;
    text += variables_text(description);
    const LabelLookup labels(description.data_set.label_tables, description.formats);
    for (const Variable &variable : description.data_set.variables)
        if (const UserFormat *format = labels.find(variable))
            text += labels_text(variable, *format);
    return text;
}

void show(const Description &description, bool json) {
    if (json)
        write_description_json(description.summary, description.data_set, description.formats, write_standard_output);
    else
        write_standard_output(text_of(description));
}

void describe_dataset(const DescribeOptions &options, const Destination &place, Run &run) {
    refuse_reading_options(options.reading);
    RunLibraries libraries({}, {"SOURCE", place.path}, Library::Access::read);
    const std::string name = place.dataset.empty() ? only_dataset(*libraries.data()) : place.dataset;
    Description description{{}, libraries.data()->describe(name, run.notes()), libraries.lookup()};
    description.summary.file = place.path + ":" + name;
    description.summary.data_label = description.data_set.label;
    description.summary.observations = description.data_set.observations;
    show(description, options.json);
}

void describe_file(const DescribeOptions &options, Run &run) {
    check_stata_name(options.file);
    RunLibraries libraries({}, {}, Library::Access::write);
    HostOptions host = run.host();
    host.catalogs = &libraries.all();
    host.valid_variable_names = options.reading.valid_variable_names;
    const ImportSession session(host,
                                {.encoding = options.reading.encoding,
                                 .formats = libraries.place(),
                                 .contract = contract_of(options.reading.contract),
                                 .head_only = true},
                                options.file);
    show({session.summary(), session.description(), libraries.lookup()}, options.json);
}

void run_describe(const DescribeOptions &options, Run &run) {
    if (const auto place = parse_library(options.file))
        describe_dataset(options, *place, run);
    else
        describe_file(options, run);
}

} // namespace

void add_describe_command(CommandLine &line) {
    CLI::App *command = add_command(line, "describe", "What a Stata file, or a data set of a library, holds",
                                    {"vordta describe survey.dta", "vordta describe survey.db:survey --json"});
    const auto options = std::make_shared<DescribeOptions>();
    command->add_option("FILE", options->file, "Stata file, - for standard input, or LIBRARY.db[:DATASET]")->required();
    command->add_flag("--json", options->json, "One JSON object");
    add_reading_options(*command, options->reading);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_describe(*options, run); }; });
}

} // namespace vor::cli
