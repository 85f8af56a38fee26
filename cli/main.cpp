// vordta: Stata data files in and out of tables and SQLite libraries.
//
// Parses the command line, runs the chosen command, and turns every failure into one ERROR line and an exit status.
#include "commands.h"
#include "destinations.h"
#include "display.h"

#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/library.h>
#include <vorhost/sentences.h>

#include <array>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace vor::cli {
namespace {

constexpr unsigned most_seconds_of_rolling_back = 3;
volatile std::sig_atomic_t ended_by = 0; // the signal that tells the command to end

enum ExitStatus { done = 0, conversion_failed = 1, wrong_usage = 2, machine_refused = 3 };

ExitStatus exit_status(Failure failure) {
    switch (failure) {
    case Failure::usage:
        return wrong_usage;
    case Failure::machine:
        return machine_refused;
    case Failure::conversion:
        break;
    }
    return conversion_failed;
}

// Without the arguments of this run, which would be taken for a part of what is asked about.
std::string help_text(const CLI::App &app, const std::string &name) {
    return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
}

std::vector<std::string> command_names(const CommandLine &line) {
    std::vector<std::string> names;
    for (const CLI::App *command : line.app.get_subcommands({}))
        names.push_back(command->get_name());
    return names;
}

[[noreturn]] void refuse_command(const CommandLine &line, const std::string &name) {
    const std::vector<std::string> names = command_names(line);
    throw ConversionError(
        Failure::usage,
        fmt::format("{}{} The commands are {}. (vordta --help tells more.)",
                    name.empty() ? "Nothing was asked for." : fmt::format("\"{}\" is no command.", name),
                    name.empty() ? "" : did_you_mean(name, names), fmt::join(names, ", ")));
}

void add_help_command(CommandLine &line) {
    CLI::App *help = line.app.add_subcommand("help", "How a command is used, or which ones there are");
    const auto name = std::make_shared<std::string>();
    help->add_option("COMMAND", *name, "One of the commands");
    help->callback([&line, name] {
        line.chosen = [&line, name](Run &) {
            const CLI::App *command = name->empty() ? &line.app : find_command(line, *name);
            if (!command)
                refuse_command(line, *name);
            write_standard_output(help_text(*command, name->empty() ? "vordta" : "vordta " + *name));
        };
    });
}

void define(CommandLine &line) {
    line.app.name("vordta");
    line.app.description("Reads and writes Stata data files (.dta): CSV files and SQLite libraries in and out.");
    line.app.set_version_flag("-V,--version", "vordta " VORDTA_VERSION);
    line.app.require_subcommand(1);
    line.app.footer(example_lines({"vordta import survey.dta survey.db", "vordta head survey.dta",
                                   "vordta export survey.db:survey survey_again.dta"}) +
                    "\n\nvordta COMMAND --help shows the options of a command.");
    add_import_command(line);
    add_export_command(line);
    add_describe_command(line);
    add_head_command(line);
    add_formats_command(line);
    add_codebook_command(line);
    add_concat_command(line);
    add_diff_command(line);
    add_query_command(line);
    add_help_command(line);
}

// Runs `body`; its exit status, and one ERROR line when it fails.
template <typename Body>
ExitStatus guarded(LogOutput &log, Body body) {
    try {
        body();
        return done;
    } catch (const ConversionError &error) {
        if (ended_by == 0)
            log.line(Severity::error, error.what());
        return exit_status(error.failure());
    } catch (const std::bad_alloc &) {
        log.line(Severity::error, "There is not enough memory.");
        return machine_refused;
    } catch (const std::exception &error) {
        log.line(Severity::error, error.what());
        return conversion_failed;
    }
}

// Throws ConversionError when what stands first is no command: options come behind it.
void refuse_without_command(const CommandLine &line, int count, char **arguments) {
    if (line.app.get_subcommands().empty())
        refuse_command(line, count < 2 ? "" : arguments[1]);
}

std::vector<std::string> option_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *option : app.get_options())
        for (const std::string &name : option->get_lnames())
            names.push_back("--" + name);
    return names;
}

// Throws ConversionError, which names the one that was meant, for an option that nothing takes.
void refuse_unknown_option(const CommandLine &line, const CLI::App &command) {
    const std::string name = "vordta " + command.get_name();
    for (const std::string &word : line.app.remaining())
        if (const CLI::Option *option = command.get_option_no_throw(word))
            throw ConversionError(Failure::usage,
                                  fmt::format("{} stands behind the command: {} {}.", word, name, option->get_name()));
    for (const CLI::App *app : {&command, static_cast<const CLI::App *>(&line.app)})
        for (const std::string &word : app->remaining())
            if (word.size() > 1 && word.front() == '-')
                throw ConversionError(Failure::usage,
                                      fmt::format("{} is no option of {}.{} ({} --help tells more.)", word, name,
                                                  did_you_mean(word.substr(0, word.find('=')), option_names(command)),
                                                  name));
}

// Throws ConversionError when the log would take the place of a file that the command works with.
void refuse_log_over_data(const CommandLine &line) {
    for (const CLI::App *command : line.app.get_subcommands())
        for (const CLI::Option *option : command->get_options())
            if (option->get_positional() || option->check_lname("schema") || option->check_lname("libname"))
                for (const std::string &value : option->results())
                    refuse_same_file({"--log", line.common.log_file}, {value, value, true});
}

// Parses; throws ConversionError for wrong usage. False when all that was asked for was help or the version.
bool parse(CommandLine &line, int count, char **arguments) {
    try {
        line.app.parse(count, arguments);
        return true;
    } catch (const CLI::CallForHelp &) {
        write_standard_output(line.app.help());
    } catch (const CLI::CallForAllHelp &) {
        write_standard_output(line.app.help("", CLI::AppFormatMode::All));
    } catch (const CLI::CallForVersion &) {
        write_standard_output(line.app.version() + "\n");
    } catch (const CLI::ParseError &error) {
        refuse_without_command(line, count, arguments);
        const CLI::App &command = *line.app.get_subcommands().front();
        refuse_unknown_option(line, command);
        throw ConversionError(Failure::usage,
                              fmt::format("{} (vordta {} --help tells more.)", error.what(), command.get_name()));
    }
    return false;
}

int run(int count, char **arguments) {
    CommandLine line;
    LogOutput log;
    bool wanted = false;
    const ExitStatus parsed = guarded(log, [&] {
        define(line);
        if (count > 2 && std::string_view(arguments[1]) == "complete")
            write_standard_output(completions(line, {arguments + 2, arguments + count}));
        else
            wanted = parse(line, count, arguments);
    });
    if (!wanted)
        return parsed;
    ProgressDisplay progress(line.common.progress, line.common.quiet);
    log.show_above(progress);
    log.set_notes(line.common.quiet     ? LogOutput::Notes::none
                  : line.common.verbose ? LogOutput::Notes::all
                                        : LogOutput::Notes::brief);
    log.set_strict(line.common.strict);
    Run context{line.common, log, progress};
    const ExitStatus ran = guarded(log, [&] {
        if (!line.common.log_file.empty()) {
            refuse_log_over_data(line);
            log.open(line.common.log_file);
        }
        line.chosen(context);
    });
    const ExitStatus closed = guarded(log, [&] { log.close(); });
    return ran != done ? ran : closed != done ? closed : static_cast<ExitStatus>(context.status);
}

// The files that are being written go, then the signal does what it does to every program.
[[noreturn]] void end_at_once(int signal) {
    remove_unfinished_files();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(128 + signal);
}

// What a library has taken is rolled back first, for as long as that may last.
void end_by_signal(int signal) {
    if (ended_by != 0)
        end_at_once(ended_by);
    ended_by = signal;
    if (!interrupt_transactions())
        end_at_once(signal);
    alarm(most_seconds_of_rolling_back);
}

// A stack that is full leaves no room for what to do about it.
void watch_faults() {
    static std::array<char, 65536> stack;
    stack_t own{};
    own.ss_sp = stack.data();
    own.ss_size = stack.size();
    struct sigaction action {};
    action.sa_handler = end_by_signal;
    action.sa_flags = SA_ONSTACK;
    sigaltstack(&own, nullptr);
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT})
        if (struct sigaction before{}; sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL)
            sigaction(signal, &action, nullptr);
}

// What is ignored (a hang-up under nohup) stays ignored. A reader that has read enough ends the command quietly.
void watch_signals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGALRM})
        if (std::signal(signal, end_by_signal) == SIG_IGN)
            std::signal(signal, SIG_IGN);
}

// With one of them closed the first file that is opened would get its number, and what is written to it.
void open_closed_streams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0)
            return;
}

} // namespace
} // namespace vor::cli

int main(int count, char **arguments) {
    vor::cli::open_closed_streams();
    std::signal(SIGXFSZ, SIG_IGN); // a file that may grow no further is an error of the write, told in a sentence
    vor::cli::watch_signals();
    vor::cli::watch_faults();
    // Column widths of text; numbers are formatted without the locale.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    try {
        const int status = vor::cli::run(count, arguments);
        if (vor::cli::ended_by != 0)
            vor::cli::end_at_once(vor::cli::ended_by);
        return status;
    } catch (...) { // not even the log could be written
        std::fputs("ERROR: There is not enough memory.\n", stderr);
        return vor::cli::machine_refused;
    }
}
