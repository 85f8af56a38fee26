// The sub-commands of vordta: what they share, and how they come into the command line.
//
// Parsing the command line only chooses a command; main runs it afterwards, when the log is open.
#pragma once

#include "log_output.h"

#include <vorhost/conversion.h>
#include <vorhost/files.h>
#include <vorhost/host.h>
#include <vorhost/log.h>
#include <vorhost/selection.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vor::cli {

// Options of every sub-command.
struct CommonOptions {
    bool quiet = false;
    bool verbose = false;
    bool strict = false;  // conversions only
    std::string log_file; // empty: standard error only
    std::string progress = "auto";
    std::string session_encoding = "utf-8";
    bool no_unpack_limit = false; // commands that read compressed files
    size_t threads = machine_threads();
    std::optional<int> compression_level;

    Unpacking unpacking() const { return no_unpack_limit ? Unpacking::unbounded : Unpacking::bounded; }
};

// What a running command works with.
struct Run {
    const CommonOptions &options;
    LogOutput &log;
    ProgressDisplay &progress;
    int status = 0; // exit status of a command that ends well

    // A host with the log and the session encoding of this run.
    HostOptions host() const;

    // Sentences become notes, or warnings, in the log.
    Notes notes() const { return sentences(Severity::note); }
    Notes warnings() const { return sentences(Severity::warning); }
    Notes sentences(Severity severity) const;

    // A note about what was asked for, unless the sentence is empty.
    void note(const std::string &sentence) const;
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
void add_codebook_command(CommandLine &line);
void add_concat_command(CommandLine &line);
void add_diff_command(CommandLine &line);
void add_query_command(CommandLine &line);

// The command of that name; null when there is none.
const CLI::App *find_command(const CommandLine &line, const std::string &name);

// What may stand where the cursor is in a command line whose words follow `vordta complete POSITION`, for the scripts
// of shells. The first line says what the others are: "words"; "list", parts of a list; or nothing, after "files" and
// the extensions of those that go there.
std::string completions(const CommandLine &line, const std::vector<std::string> &arguments);

// A new sub-command with the options that all of them have; its help ends with the examples.
CLI::App *add_command(CommandLine &line, const std::string &name, const std::string &what_it_does,
                      const std::vector<std::string> &examples);

// The end of a help text: examples, one on each line.
std::string example_lines(const std::vector<std::string> &examples);

// Tells of positional arguments that are one option to the parser.
class PositionalsHelp : public CLI::Formatter {
  public:
    // usage: their names; lines: what each is.
    PositionalsHelp(std::string usage, std::string lines) : usage_(std::move(usage)), lines_(std::move(lines)) {}
    std::string make_usage(const CLI::App *, std::string name) const override {
        return "Usage: " + name + " [OPTIONS] " + usage_ + "\n";
    }
    std::string make_positionals(const CLI::App *) const override { return "\nPositionals:\n" + lines_; }

  private:
    std::string usage_;
    std::string lines_;
};

// An option that takes one of these words; its value so far is the default.
void add_choice(CLI::App &command, const std::string &name, std::string &value, const std::vector<std::string> &words,
                const std::string &help);

// What the module is asked for unless the user says it.
inline constexpr const char *default_contract = "extended";
void add_contract_option(CLI::App &command, std::string &contract);
Contract contract_of(const std::string &name);

// For the commands that make something: warnings keep it from appearing.
void add_strict_option(CommandLine &line, CLI::App &command);

// For the commands that work on several threads and may write a compressed file.
void add_threads_option(CommandLine &line, CLI::App &command);

// For the commands that read what may be compressed.
void add_unpacking_option(CommandLine &line, CLI::App &command);

// How a Stata file is read.
struct ReadingOptions {
    std::string contract = default_contract;
    std::string valid_variable_names = "any";
    std::string encoding; // empty: as the file's release says
};
void add_reading_options(CLI::App &command, ReadingOptions &options);

// ConversionError (usage) for options that say how a Stata file is read, where a data set of a library is shown.
void refuse_reading_options(const ReadingOptions &options);

// Which variables and observations of a data set are wanted: --keep, --drop, --rows and --limit.
struct SelectionOptions {
    std::vector<std::string> keep; // each a list of names with commas between them
    std::vector<std::string> drop;
    std::optional<std::string> rows; // FIRST:LAST, either of them may be left out
    std::optional<int64_t> limit;
    std::string where; // a condition of SQL; empty: none
};

// limit_names: such as "-n,--limit"; limit_help: what it does in this command.
void add_selection_options(CLI::App &command, SelectionOptions &options, const std::string &limit_names,
                           const std::string &limit_help);

struct WantedPart {
    Selection selection;
    int64_t limit = -1; // observations at most, -1 for all
};

// The observations of an import that --where leaves, null without it. ConversionError (usage) for standard input.
std::unique_ptr<BatchSource> chosen_rows(const SelectionOptions &options, const WantedPart &part,
                                         const std::string &file, const std::string &encoding, ImportSession &session,
                                         const Run &run);

// What the options say; default_limit holds when neither the end of the rows nor a limit is given. ConversionError
// (usage) for a text that is no range and for a list without names.
WantedPart wanted_part(const SelectionOptions &options, int64_t default_limit = -1);

// The note for rows that begin behind the last observation; empty when `written` says that there were some.
// observations: of the whole source.
std::string note_of_empty_rows(const SelectionOptions &options, const std::string &source, int64_t observations,
                               int64_t written);

} // namespace vor::cli
