// vordta concat: Stata files of equal layout become one.
#include "commands.h"
#include "destinations.h"

#include <vorhost/concatenation.h>

#include <fmt/format.h>

namespace vor::cli {
namespace {

struct ConcatOptions {
    std::vector<std::string> places; // the parts, and last the file that they become
    std::string encoding;
};

void run_concat(const ConcatOptions &options, Run &run) {
    std::vector<std::string> parts = options.places;
    const std::string file = parts.back();
    parts.pop_back();
    if (parts.empty())
        throw ConversionError(Failure::usage,
                              fmt::format("FILE is missing; write vordta concat {} all.dta. (vordta concat --help "
                                          "tells more.)",
                                          file));
    for (const std::string &part : parts) {
        check_stata_name(part);
        refuse_same_file({"FILE", file, true}, {"PART", part, true});
    }
    check_compression_level(file, run.options.compression_level);
    ConcatenationOptions how{options.encoding};
    how.output.threads = run.options.threads;
    how.output.compression_level = run.options.compression_level;
    concatenate(run.host(), how, parts, file, [&run](int64_t done, int64_t all) { run.progress.update(done, all); });
}

} // namespace

void add_concat_command(CommandLine &line) {
    CLI::App *command =
        add_command(line, "concat", "Stata files of equal layout become one",
                    {"vordta concat wave1.dta wave2.dta all.dta", "vordta concat part-*.dta all.dta.gz"});
    const auto options = std::make_shared<ConcatOptions>();
    // One option: which argument is the last one is known only when all have been read.
    command->add_option("PART", options->places)->required();
    command->formatter(std::make_shared<PositionalsHelp>(
        "PART... FILE", "  PART ...                    Stata files with equal variables and value labels, may be\n"
                        "                              compressed, or - for standard input\n"
                        "  FILE                        Stata file (also .gz, .bz2, .xz, .zst, .zip), or - for\n"
                        "                              standard output\n"));
    command->add_option("--encoding", options->encoding, "Encoding of the parts' text; default: as their release says")
        ->type_name("NAME");
    add_strict_option(line, *command);
    add_threads_option(line, *command);
    add_unpacking_option(line, *command);
    command->callback([&line, options] { line.chosen = [options](Run &run) { run_concat(*options, run); }; });
}

} // namespace vor::cli
