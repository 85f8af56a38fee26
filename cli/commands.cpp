#include "commands.h"

#include <vorhost/error.h>

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
    command->add_option("--progress", common.progress, "Show progress on a terminal: after a while, at once, or never")
        ->type_name("auto|on|off")
        ->check(CLI::IsMember({"auto", "on", "off"}))
        ->capture_default_str();
    return command;
}

void add_reading_options(CLI::App &command, ReadingOptions &options) {
    command
        .add_option("--validvarname", options.valid_variable_names,
                    "Variable names: letters, digits and underscores only (v7), or any characters")
        ->type_name("v7|any")
        ->check(CLI::IsMember({"v7", "any"}))
        ->capture_default_str();
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
