#include "commands.h"

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

CLI::App *add_command(CommandLine &line, const std::string &name, const std::string &what_it_does) {
    CLI::App *command = line.app.add_subcommand(name, what_it_does);
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

} // namespace vor::cli
