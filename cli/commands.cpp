#include "commands.h"

#include <vorhost/error.h>

#include <fmt/format.h>

namespace vor::cli {

HostOptions Run::host() const {
    HostOptions host;
    host.log = &log;
    host.session_encoding = options.session_encoding;
    return host;
}

Notes Run::notes() const {
    return [this](const std::string &sentence) { log.line(Severity::note, sentence); };
}

void Run::note(const std::string &sentence) const {
    if (!sentence.empty())
        log.line(Severity::note, sentence);
}

std::string example_lines(const std::vector<std::string> &examples) {
    std::string lines = "Examples:";
    for (const std::string &example : examples)
        lines += "\n    " + example;
    return lines;
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
    command->add_flag("--quiet", common.quiet, "Show errors only");
    command->add_option("--log", common.log_file, "Write notes and errors to this file, too")->type_name("FILE");
    add_choice(*command, "--progress", common.progress, {"auto", "on", "off"},
               "Show progress on a terminal: after a while, at once, or never");
    return command;
}

void add_reading_options(CLI::App &command, ReadingOptions &options) {
    add_choice(command, "--validvarname", options.valid_variable_names, {"v7", "any"},
               "Variable names: letters, digits and underscores only (v7), or any characters");
    command.add_option("--encoding", options.encoding, "Encoding of the file's text; default: as its release says")
        ->type_name("NAME");
}

void refuse_reading_options(const ReadingOptions &options) {
    const ReadingOptions as_always;
    if (!options.encoding.empty())
        throw ConversionError(Failure::usage, "--encoding goes with a Stata file; the text of a library is UTF-8.");
    if (options.valid_variable_names != as_always.valid_variable_names)
        throw ConversionError(Failure::usage,
                              "--validvarname goes with a Stata file; a library shows the names that it has.");
}

} // namespace vor::cli
