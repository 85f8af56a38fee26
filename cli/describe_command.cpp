// vordta describe: what Stata files, or data sets of libraries, hold. No observation is read.
#include "any_source.h"
#include "commands.h"
#include "display.h"

#include <vorhost/description.h>

#include <fmt/format.h>

namespace vor::cli {
namespace {

constexpr size_t labels_shown = 20; // of one format, in the table for people

struct DescribeOptions {
    std::vector<std::string> files;
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

void run_describe(const DescribeOptions &options, Run &run) {
    const bool array = options.json && options.files.size() > 1;
    const char *separator = array ? "[\n" : "";
    for (const std::string &file : options.files) {
        const AnySource source(file, {.reading = options.reading, .head_only = true}, run);
        write_standard_output(separator);
        separator = array ? ",\n" : "\n";
        show({source.summary(), source.description(), source.formats()}, options.json);
    }
    write_standard_output(array ? "]\n" : "");
}

} // namespace

void add_describe_command(CommandLine &line) {
    CLI::App *command = add_command(line, "describe", "What Stata files, or data sets of libraries, hold",
                                    {"vordta describe survey.dta", "vordta describe wave1.dta wave2.dta",
                                     "vordta describe survey.db:survey --json"});
    const auto options = std::make_shared<DescribeOptions>();
    command->add_option("FILE", options->files, "Stata files, - for standard input, or LIBRARY.db[:DATASET]")
        ->required();
    command->add_flag("--json", options->json, "One JSON object; of several files an array of them");
    add_reading_options(*command, options->reading);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_describe(*options, run); }; });
}

} // namespace vor::cli
