// What may stand at a place of the command line. The shells' scripts ask, so that each knows every command and option.
#include "any_source.h"
#include "commands.h"
#include "destinations.h"
#include "display.h"

#include <vorhost/error.h>
#include <vorhost/library.h>

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

namespace vor::cli {
namespace {

using Words = std::vector<std::string>;

constexpr const char *stata_files = "dta dta.gz dta.bz2 dta.xz dta.zst dta.zip";
constexpr const char *table_files = "csv csv.gz csv.bz2 csv.xz csv.zst csv.zip tsv tsv.gz tsv.bz2 tsv.xz tsv.zst "
                                    "tsv.zip parquet";
constexpr const char *library_files = "db sqlite";
constexpr const char *encodings = "utf-8|wlatin1|latin1|us-ascii|windows-1250|windows-1251|shift-jis|euc-kr|gb18030";

// Files of the first place behind a command, and of those that follow; a command that is not here takes data sets of
// every form.
const struct {
    const char *command;
    std::string first, further;
} places[] = {
    {"import", stata_files, fmt::format("{} {} {}", table_files, library_files, stata_files)},
    {"export", fmt::format("{} {}", table_files, library_files), stata_files},
    {"describe", fmt::format("{} {}", stata_files, library_files), fmt::format("{} {}", stata_files, library_files)},
    {"head", fmt::format("{} {}", stata_files, library_files), ""},
    {"formats", library_files, ""},
    {"help", "", ""},
};

Words split(std::string_view text, char separator) {
    Words words;
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find(separator, start), text.size());
        words.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return words;
}

bool takes_value(const CLI::Option *option) {
    return option && option->get_items_expected_max() > 0;
}

// The line as far as it is understood.
struct Line {
    const CLI::App *command = nullptr;
    const CLI::Option *option = nullptr; // the one whose value is asked for
    Words before;                        // arguments in front of the cursor
    Words others;                        // all arguments but the one that is asked for
};

Line understand(const CommandLine &line, const Words &words, size_t cursor) {
    Line found;
    for (size_t i = 1; i < words.size(); ++i) {
        const std::string &word = words[i];
        if (i == cursor)
            continue;
        if (!found.command) {
            found.command = i < cursor ? find_command(line, word) : nullptr;
        } else if (word.size() > 1 && word.front() == '-') {
            const CLI::Option *option = found.command->get_option_no_throw(word);
            if (!takes_value(option))
                continue;
            if (++i == cursor)
                found.option = option;
        } else {
            found.others.push_back(word);
            if (i < cursor)
                found.before.push_back(word);
        }
    }
    return found;
}

std::string answer(const std::string &kind, const std::string &begun, const Words &choices) {
    std::string text = kind + "\n";
    for (const std::string &choice : choices)
        if (choice.starts_with(begun) && display_text(choice) == choice)
            text += choice + "\n";
    return text;
}

// The names of the variables that the first of the arguments has which is a data set, behind those that are listed.
std::string variable_answer(const Line &line, const std::string &begun, const Run &run) {
    const size_t comma = begun.rfind(',');
    const std::string listed = comma == std::string::npos ? "" : begun.substr(0, comma + 1);
    for (const std::string &argument : line.others)
        try {
            const AnySource source(argument, {.head_only = true, .tables = true, .silent = true}, run);
            Words names;
            for (const Variable &variable : source.description().variables)
                names.push_back(listed + (variable.name.find(',') == std::string::npos ? variable.name
                                                                                       : '"' + variable.name + '"'));
            return answer("list", begun, names);
        } catch (const std::exception &) {
            continue; // the next one may be a data set
        }
    return "list\n";
}

std::string value_answer(const Line &line, const std::string &begun, const Run &run) {
    const std::string type = line.option->get_type_name();
    if (line.option->check_lname("encoding") || line.option->check_lname("session-encoding"))
        return answer("words", begun, split(encodings, '|'));
    if (type == "NAME,NAME")
        return variable_answer(line, begun, run);
    if (type.starts_with("FILE"))
        return fmt::format("files {}\n", type.size() > 5 ? type.substr(5) : "*");
    return answer("words", begun, type.find('|') == std::string::npos ? Words{} : split(type, '|'));
}

// A file, or what is in a library: data sets, or catalogs.
std::string argument_answer(const Line &line, const std::string &begun) {
    const std::string command = line.command->get_name();
    const size_t colon = begun.rfind(':');
    if (const auto library = colon == std::string::npos ? std::nullopt : parse_library(begun.substr(0, colon))) {
        const auto opened = Library::open(library->path, Library::Access::read);
        Words names = command == "formats" ? opened->catalog_names() : opened->dataset_names();
        for (std::string &name : names)
            name.insert(0, library->path + ":");
        return answer("words", begun, names);
    }
    for (const auto &place : places)
        if (place.command == command)
            return fmt::format("files {}\n", line.before.empty() ? place.first : place.further);
    return fmt::format("files {} {} {}\n", stata_files, table_files, library_files);
}

std::string answer_for(const CommandLine &line, const Line &found, const std::string &begun, const Run &run) {
    Words names;
    if (found.command && found.option)
        return value_answer(found, begun, run);
    if (!found.command || (found.command->get_name() == "help" && found.before.empty())) {
        for (const CLI::App *command : line.app.get_subcommands({}))
            names.push_back(command->get_name());
        if (!found.command)
            names.insert(names.end(), {"--help", "--version"});
        return answer("words", begun, names);
    }
    const size_t equals = begun.find('=');
    if (begun.starts_with("--") && equals != std::string::npos) {
        Line with_value = found;
        with_value.option = found.command->get_option_no_throw(begun.substr(0, equals));
        if (!takes_value(with_value.option))
            return "words\n";
        const Words lines = split(value_answer(with_value, begun.substr(equals + 1), run), '\n');
        for (size_t i = 1; i + 1 < lines.size(); ++i)
            names.push_back(begun.substr(0, equals + 1) + lines[i]);
        return answer(lines.front(), begun, names);
    }
    if (!begun.starts_with('-') || begun == "-")
        return argument_answer(found, begun);
    for (const CLI::Option *option : found.command->get_options())
        for (const std::string &name : option->get_lnames())
            names.push_back("--" + name);
    return answer("words", begun, names);
}

} // namespace

std::string completions(const CommandLine &line, const std::vector<std::string> &arguments) {
    size_t cursor = 0;
    std::from_chars(arguments[0].data(), arguments[0].data() + arguments[0].size(), cursor);
    Words words(arguments.begin() + 1, arguments.end());
    words.resize(std::max(words.size(), std::min(cursor, words.size()) + 1));
    cursor = std::min(cursor, words.size() - 1);
    LogOutput log;
    log.set_notes(LogOutput::Notes::none);
    ProgressDisplay progress("off", true);
    const Run run{line.common, log, progress};
    return answer_for(line, understand(line, words, cursor), words[cursor], run);
}

} // namespace vor::cli
