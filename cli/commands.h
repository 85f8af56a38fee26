// The sub-commands of vordta: what they share, and how they come into the command line.
//
// Parsing the command line only chooses a command; main runs it afterwards, when the log is open.
#pragma once

#include "log_output.h"
#include "progress.h"

#include <vorhost/host.h>
#include <vorhost/rows.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace vor::cli {

// Options of every sub-command.
struct CommonOptions {
    bool quiet = false;
    std::string log_file; // empty: standard error only
    std::string progress = "auto";
    std::string session_encoding = "utf-8";
};

// What a running command works with.
struct Run {
    const CommonOptions &options;
    LogOutput &log;
    ProgressDisplay &progress;

    // A host with the log and the session encoding of this run.
    HostOptions host() const;

    // Sentences become notes in the log.
    Notes notes() const;
};

// Throws ConversionError, or what the standard library throws.
using Command = std::function<void(Run &)>;

struct CommandLine {
    CLI::App app;
    CommonOptions common;
    Command chosen; // set by parsing
};

void add_import_command(CommandLine &line);
void add_export_command(CommandLine &line);
void add_describe_command(CommandLine &line);
void add_head_command(CommandLine &line);
void add_formats_command(CommandLine &line);

// A new sub-command with the options that all of them have.
CLI::App *add_command(CommandLine &line, const std::string &name, const std::string &what_it_does);

// How a Stata file is read.
struct ReadingOptions {
    std::string valid_variable_names = "any";
    std::string encoding; // empty: as the file's release says
};
void add_reading_options(CLI::App &command, ReadingOptions &options);

} // namespace vor::cli
