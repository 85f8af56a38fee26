// vordta query: SQL over Stata files, to the terminal or into any data set.
#include "commands.h"
#include "destinations.h"
#include "display.h"
#include "run_libraries.h"
#include "table_sink.h"

#include <vorhost/ascii.h>
#include <vorhost/conversion.h>
#include <vorhost/error.h>
#include <vorhost/parquet.h>
#include <vorhost/query.h>
#include <vorhost/tables.h>

#include <filesystem>
#include <fmt/format.h>

namespace vor::cli {
namespace {

struct QueryCommandOptions {
    std::string sql;
    std::vector<std::string> files;
    std::string to;
    std::string encoding;
    bool all = false;
};

// "survey.dta", or "NAME=survey.dta" for another name than the file's stem.
QueryTable table_of(const std::string &text) {
    const size_t equals = text.find('=');
    const bool named = equals != std::string::npos && equals > 0 && !std::filesystem::exists(text);
    const std::string file = named ? text.substr(equals + 1) : text;
    if (file == "-" || file.empty())
        throw ConversionError(Failure::usage, "A query may read its files more than once; standard input cannot be.");
    check_stata_name(file);
    if (named)
        return {text.substr(0, equals), file};
    return {std::filesystem::path(uncompressed_name(file)).stem().string(), file};
}

void write_result(const QueryCommandOptions &options, std::unique_ptr<BatchSource> result, Run &run) {
    const std::string &to = options.to;
    if (lower_case(std::filesystem::path(to).extension().string()) == ".json") {
        copy_rows(*result, "the query", {}, *json_sink(to));
        return;
    }
    if (!parse_place(to)) {
        ExportSession::Options how;
        how.threads = run.options.threads;
        how.compression_level = run.options.compression_level;
        export_source(run.host(), how, to, *result);
        return;
    }
    const Destination place = parse_destination(to, options.files.front());
    const bool library = place.kind == Destination::Kind::library;
    RunLibraries libraries({}, {"--to", library ? place.path : ""}, Library::Access::write);
    if (place.kind == Destination::Kind::parquet) {
        write_parquet(place.path, std::move(result), {run.options.threads, {}, &run.log});
        return;
    }
    DelimitedOptions form;
    form.log = &run.log;
    form.separator = place.separator;
    form.threads = run.options.threads;
    form.compression_level = run.options.compression_level;
    const std::unique_ptr<BatchSink> sink =
        library ? libraries.data()->dataset_sink(place.dataset.empty() ? "query" : place.dataset, std::nullopt)
                : delimited_sink(place.path, form);
    copy_rows(*result, "the query", {}, *sink);
}

void run_query(const QueryCommandOptions &options, Run &run) {
    std::vector<QueryTable> tables;
    for (const std::string &file : options.files) {
        tables.push_back(table_of(file));
        refuse_same_file({"--to", options.to}, {"FILE", tables.back().file, true});
    }
    QueryOptions how{.host = run.host(), .encoding = options.encoding};
    if (!options.to.empty())
        how.warnings = run.warnings();
    else
        run.log.hide_results();
    std::unique_ptr<BatchSource> result = query_source(options.sql, tables, how);
    if (!options.to.empty())
        return write_result(options, std::move(result), run);
    TableSink sink("codes", options.all, {});
    copy_rows(*result, "the query", {}, sink);
    run.note(sink.note_of_width());
}

} // namespace

void add_query_command(CommandLine &line) {
    CLI::App *command =
        add_command(line, "query", "SQL over Stata files in place",
                    {"vordta query \"SELECT sex, avg(income) FROM survey GROUP BY sex\" survey.dta",
                     "vordta query \"SELECT label(sex), mark(income), count(*) FROM survey GROUP BY 1, 2\" survey.dta",
                     "vordta query \"SELECT * FROM w1 JOIN w2 USING (id)\" w1=wave1.dta w2=wave2.dta --to both.dta"});
    const auto options = std::make_shared<QueryCommandOptions>();
    command->add_option("SQL", options->sql, "One statement that reads")->required();
    command->add_option("FILE", options->files, "Stata files, each a table named by its stem, or NAME=FILE")
        ->required();
    command->add_option("--to", options->to,
                        "Where the result goes: - (CSV), .csv, .json, .parquet, .dta or a library");
    command->add_option("--encoding", options->encoding, "Encoding of the files' text");
    command->add_flag("--all", options->all, "Show every column, however wide the lines become");
    add_strict_option(line, *command);
    add_threads_option(line, *command);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_query(*options, run); }; });
}

} // namespace vor::cli
