// vordta codebook: what is in data sets, and what changed between waves.
#include "any_source.h"
#include "commands.h"
#include "destinations.h"
#include "display.h"

#include <vorhost/ascii.h>
#include <vorhost/codebook.h>

#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace vor::cli {
namespace {

using Json = nlohmann::ordered_json;

// Whether a CSV file begins as a codebook does.
bool is_codebook(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    return std::getline(file, line) && line.starts_with("file,name,label,type,format,");
}

struct CodebookOptions {
    std::vector<std::string> files; // the last may be the destination
    ReadingOptions reading;
};

constexpr std::pair<std::string_view, CodebookForm> forms[] = {{".html", CodebookForm::page},
                                                               {".htm", CodebookForm::page},
                                                               {".csv", CodebookForm::csv},
                                                               {".md", CodebookForm::markdown},
                                                               {".json", CodebookForm::json}};

// Where the codebook goes, and as what.
struct Target {
    std::string path; // empty: a table
    CodebookForm form = CodebookForm::json;
};

// The target among the arguments, taken out of them. A table that exists is looked at, not replaced.
Target take_target(std::vector<std::string> &files) {
    const std::string last = files.back();
    if (files.size() < 2)
        return {};
    for (const auto &[ending, form] : forms) {
        const bool data = form == CodebookForm::csv && std::filesystem::exists(last) && !is_codebook(last);
        if (last == "-" || (lower_case(last).ends_with(ending) && !data)) {
            files.pop_back();
            return {last, last == "-" ? CodebookForm::json : form};
        }
    }
    return {};
}

std::string cell(const Json &one, const char *name) {
    const auto found = one.find(name);
    if (found == one.end() || found->is_null())
        return "";
    return found->is_string()         ? found->get<std::string>()
           : found->is_number_float() ? fmt::format("{:.6g}", found->get<double>())
                                      : found->dump();
}

void show(TextTable &table) {
    const size_t columns = terminal_columns(STDOUT_FILENO);
    if (columns > 0)
        table.fit(columns);
    write_standard_output(table.take() + "\n");
}

void show_changes(const Json &changes, const std::vector<std::string> &files) {
    if (changes.empty()) {
        write_standard_output("No variable appears, vanishes or changes its type, label or codes.\n\n");
        return;
    }
    std::vector<TextTable::Column> columns{{"Variable"}, {"Change in"}};
    for (const std::string &file : files)
        columns.push_back({file});
    TextTable table(columns, 30);
    for (const Json &change : changes) {
        std::vector<std::string> cells{cell(change, "variable"), cell(change, "what")};
        for (const Json &value : change["values"])
            cells.push_back(value.is_null() ? "-" : value.get<std::string>());
        table.add(cells);
    }
    show(table);
}

void show_file(const Json &file) {
    constexpr auto right = TextTable::Side::right;
    write_standard_output(
        fmt::format("{}: {} observations\n", display_text(cell(file, "file")), cell(file, "observations")));
    TextTable table({{"Name"},
                     {"Type"},
                     {"Missing", right},
                     {"Distinct", right},
                     {"Minimum", right},
                     {"Median", right},
                     {"Maximum", right},
                     {"Mean", right},
                     {"Std. dev.", right},
                     {"Label"}},
                    30);
    for (const Json &one : file["variables"]) {
        const std::string distinct =
            one["distinct"].is_null() ? "> " + cell(one, "distinct_bound_reached") : cell(one, "distinct");
        table.add({cell(one, "name"), cell(one, "type"), cell(one, "missing"), distinct, cell(one, "minimum"),
                   cell(one, "median"), cell(one, "maximum"), cell(one, "mean"), cell(one, "standard_deviation"),
                   cell(one, "label")});
    }
    show(table);
}

void run_codebook(const CodebookOptions &options, Run &run) {
    std::vector<std::string> files = options.files;
    const Target target = take_target(files);
    for (const std::string &file : files)
        refuse_same_file({"DEST", target.path}, {"FILE", file, true});
    run.log.hide_results();
    std::vector<std::unique_ptr<AnySource>> sources;
    std::vector<CodebookInput> inputs;
    for (const std::string &file : files) {
        AnySource &source = *sources.emplace_back(
            std::make_unique<AnySource>(file, AnySource::Options{.reading = options.reading, .tables = true}, run));
        inputs.push_back({file, &source.rows(), source.formats()});
    }
    const std::string text =
        codebook_json(inputs, [&run](int64_t done, int64_t all) { run.progress.update(done, all); });
    run.progress.erase();
    for (const auto &source : sources)
        source->close();
    if (!target.path.empty()) {
        write_codebook(target.path, codebook_view(text, target.form));
        return;
    }
    const Json book = Json::parse(text);
    if (files.size() > 1)
        show_changes(book["changes"], files);
    for (const Json &file : book["files"])
        show_file(file);
}

} // namespace

void add_codebook_command(CommandLine &line) {
    CLI::App *command = add_command(line, "codebook", "What is in data sets, and what changed between waves",
                                    {"vordta codebook survey.dta", "vordta codebook survey.dta survey.html",
                                     "vordta codebook wave1.dta wave2.dta wave3.dta"});
    const auto options = std::make_shared<CodebookOptions>();
    command
        ->add_option("FILE", options->files,
                     "Stata files, NAME.csv, NAME.tsv, NAME.parquet or LIBRARY.db[:DATASET]; after them, NAME.html, "
                     "NAME.csv, NAME.md, NAME.json or - for JSON")
        ->required();
    add_reading_options(*command, options->reading);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_codebook(*options, run); }; });
}

} // namespace vor::cli
