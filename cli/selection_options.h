// Which variables and observations of a data set are wanted: --keep, --drop, --rows and --limit.
#pragma once

#include <vorhost/selection.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vor::cli {

struct SelectionOptions {
    std::vector<std::string> keep; // each a list of names with commas between them
    std::vector<std::string> drop;
    std::optional<std::string> rows; // FIRST:LAST, either of them may be left out
    std::optional<int64_t> limit;
};

// limit_names: such as "-n,--limit"; limit_help: what it does in this command.
void add_selection_options(CLI::App &command, SelectionOptions &options, const std::string &limit_names,
                           const std::string &limit_help);

struct WantedPart {
    Selection selection;
    int64_t limit = -1; // observations at most, -1 for all
};

// What the options say; default_limit holds when neither the end of the rows nor a limit is given. ConversionError
// (usage) for a text that is no range and for a list without names.
WantedPart wanted_part(const SelectionOptions &options, int64_t default_limit = -1);

// The note for rows that begin behind the last observation; empty when `written` says that there were some.
// observations: of the whole source.
std::string note_of_empty_rows(const SelectionOptions &options, const std::string &source, int64_t observations,
                               int64_t written);

} // namespace vor::cli
