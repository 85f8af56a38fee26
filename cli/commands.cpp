#include "commands.h"

#include <vorhost/error.h>
#include <vorhost/query.h>
#include <vorhost/sentences.h>

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <string_view>

namespace vor::cli {

HostOptions Run::host() const {
    HostOptions host;
    host.log = &log;
    host.session_encoding = options.session_encoding;
    host.unpacking = options.unpacking();
    return host;
}

Notes Run::sentences(Severity severity) const {
    return [this, severity](const std::string &sentence) { log.line(severity, sentence); };
}

void Run::note(const std::string &sentence) const {
    if (!sentence.empty())
        log.tell(sentence);
}

std::string example_lines(const std::vector<std::string> &examples) {
    std::string lines = "Examples:";
    for (const std::string &example : examples)
        lines += "\n    " + example;
    return lines;
}

const CLI::App *find_command(const CommandLine &line, const std::string &name) {
    for (const CLI::App *command : line.app.get_subcommands({}))
        if (command->get_name() == name)
            return command;
    return nullptr;
}

void add_choice(CLI::App &command, const std::string &name, std::string &value, const std::vector<std::string> &words,
                const std::string &help) {
    CLI::Validator one_of_them = CLI::IsMember(words);
    one_of_them.description(""); // the type's name says them
    command.add_option(name, value, help)
        ->type_name(fmt::format("{}", fmt::join(words, "|")))
        ->check(one_of_them)
        ->capture_default_str();
}

CLI::App *add_command(CommandLine &line, const std::string &name, const std::string &what_it_does,
                      const std::vector<std::string> &examples) {
    CLI::App *command = line.app.add_subcommand(name, what_it_does);
    command->footer(example_lines(examples));
    CommonOptions &common = line.common;
    command->add_option("--session-encoding", common.session_encoding, "Encoding of the host session")
        ->type_name("NAME")
        ->capture_default_str();
    CLI::Option *quiet = command->add_flag("-q,--quiet", common.quiet, "Show warnings and errors only");
    command->add_flag("-v,--verbose", common.verbose, "Show every note; else one line for each conversion")
        ->excludes(quiet);
    command->add_option("--log", common.log_file, "Write notes, warnings and errors to this file, too")
        ->type_name("FILE");
    add_choice(*command, "--progress", common.progress, {"auto", "on", "off"},
               "Show progress on a terminal: after a while, at once, or never");
    return command;
}

void add_contract_option(CLI::App &command, std::string &contract) {
    add_choice(command, "--contract", contract, {"base", "extended"},
               "Ask the module for nothing, or for all that a Stata file says");
}

Contract contract_of(const std::string &name) {
    return name == "base" ? Contract::base : Contract::extended;
}

void add_strict_option(CommandLine &line, CLI::App &command) {
    command.add_flag("--strict", line.common.strict, "Fail, without output, when there is a warning");
}

void add_threads_option(CommandLine &line, CLI::App &command) {
    constexpr size_t most = 256;
    command.add_option("--threads", line.common.threads, "Work on N threads; default: the machine's cores")
        ->type_name("N")
        ->check(CLI::Range(size_t{1}, most));
    command
        .add_option("--compression-level", line.common.compression_level,
                    "Of a compressed file that is written; default: a quick one")
        ->type_name("N");
}

void add_unpacking_option(CommandLine &line, CLI::App &command) {
    command.add_flag("--no-unpack-limit", line.common.no_unpack_limit,
                     "Read a compressed file even if it unpacks to more than 1100 times its size");
}

void add_reading_options(CLI::App &command, ReadingOptions &options) {
    add_contract_option(command, options.contract);
    add_choice(command, "--validvarname", options.valid_variable_names, {"v7", "any"},
               "Variable names: letters, digits and underscores only (v7), or any characters");
    command.add_option("--encoding", options.encoding, "Encoding of the file's text; default: as its release says")
        ->type_name("NAME");
}

void refuse_reading_options(const ReadingOptions &options) {
    const ReadingOptions as_always;
    if (!options.encoding.empty())
        throw ConversionError(Failure::usage, "--encoding goes with a Stata file; the text of a library is UTF-8.");
    if (options.contract != as_always.contract)
        throw ConversionError(Failure::usage,
                              "--contract goes with a Stata file; a library gives everything that it has.");
    if (options.valid_variable_names != as_always.valid_variable_names)
        throw ConversionError(Failure::usage,
                              "--validvarname goes with a Stata file; a library shows the names that it has.");
}

namespace {

[[noreturn]] void refuse(const std::string &sentence) {
    throw ConversionError(Failure::usage, sentence);
}

std::string_view without_blanks(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Where an item of a list ends: at the next comma that is not between quotation marks.
size_t item_end(const std::string &list, size_t start) {
    bool quoted = false;
    for (size_t at = start; at < list.size(); ++at) {
        quoted = quoted != (list[at] == '"');
        if (list[at] == ',' && !quoted)
            return at;
    }
    return list.size();
}

std::vector<std::string> names_of(const char *option, const std::vector<std::string> &lists) {
    std::vector<std::string> names;
    for (const std::string &list : lists)
        for (size_t start = 0; start <= list.size();) {
            const size_t comma = item_end(list, start);
            const std::string_view name = without_blanks(std::string_view(list).substr(start, comma - start));
            if (name.empty())
                refuse(fmt::format("{} \"{}\" lacks a name; write NAME,NAME.", option, list));
            names.emplace_back(name);
            start = comma + 1;
        }
    return names;
}

struct RowRange {
    int64_t first = 1;
    int64_t last = -1; // -1: to the end
};

RowRange parse_rows(const std::string &text) {
    RowRange range;
    const auto fault = [&](const char *what) { refuse(fmt::format("--rows {}: {}", text, what)); };
    const auto number = [&](size_t start, size_t end, int64_t &value) {
        if (start == end)
            return;
        const auto [stop, error] = std::from_chars(text.data() + start, text.data() + end, value);
        if (error != std::errc() || stop != text.data() + end)
            fault("write FIRST:LAST, FIRST: or :LAST.");
        if (value < 1)
            fault("the first observation is number 1.");
    };
    const size_t colon = text.find(':');
    if (colon == std::string::npos || text == ":")
        fault("write FIRST:LAST, FIRST: or :LAST.");
    number(0, colon, range.first);
    number(colon + 1, text.size(), range.last);
    if (range.last >= 0 && range.last < range.first)
        fault("the last observation comes before the first.");
    return range;
}

int64_t smaller_limit(int64_t one, int64_t other) {
    return one < 0 ? other : other < 0 ? one : std::min(one, other);
}

} // namespace

void add_selection_options(CLI::App &command, SelectionOptions &options, const std::string &limit_names,
                           const std::string &limit_help) {
    CLI::Option *keep = command.add_option("--keep", options.keep,
                                           "Only these variables, in the order of the file; also 'v*' and FIRST-LAST");
    CLI::Option *drop = command.add_option("--drop", options.drop, "All variables but these");
    for (CLI::Option *option : {keep, drop})
        option->type_name("NAME,NAME")->allow_extra_args(false);
    keep->excludes(drop);
    command.add_option("--rows", options.rows, "Only these observations, counted from 1; also FIRST: and :LAST")
        ->type_name("FIRST:LAST");
    command.add_option("--where", options.where, "Only observations for which this condition of SQL holds")
        ->type_name("EXPR");
    command.add_option(limit_names, options.limit, limit_help)->type_name("N")->check([](const std::string &text) {
        const bool whole = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        return whole ? std::string() : fmt::format("{} is no number of observations", text);
    });
}

WantedPart wanted_part(const SelectionOptions &options, int64_t default_limit) {
    WantedPart part;
    part.selection.keep = names_of("--keep", options.keep);
    part.selection.drop = names_of("--drop", options.drop);
    part.selection.patterns = true;
    const RowRange range = options.rows ? parse_rows(*options.rows) : RowRange{};
    part.selection.first_row = range.first;
    const int64_t rows = range.last < 0 ? -1 : range.last - range.first + 1;
    part.limit = smaller_limit(rows, options.limit.value_or(rows < 0 ? default_limit : -1));
    return part;
}

std::string note_of_empty_rows(const SelectionOptions &options, const std::string &source, int64_t observations,
                               int64_t written) {
    if (written > 0 || !options.rows || options.limit == 0)
        return {};
    return fmt::format("{}: of {} --rows {} takes none.", source, counted(observations, "observation"), *options.rows);
}

std::unique_ptr<BatchSource> chosen_rows(const SelectionOptions &options, const WantedPart &part,
                                         const std::string &file, const std::string &encoding, ImportSession &session,
                                         const Run &run) {
    if (options.where.empty())
        return nullptr;
    if (file == "-")
        throw ConversionError(Failure::usage, "--where reads the file twice; standard input cannot be.");
    return where_source(session, part.selection.first_row, file, options.where,
                        {.host = run.host(), .encoding = encoding});
}

} // namespace vor::cli
