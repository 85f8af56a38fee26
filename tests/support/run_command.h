// Runs the command as people do: arguments in, exit status and what it printed out.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace vor::test {

struct CommandResult {
    int status;      // exit status; 128 and the signal's number when one ended it
    std::string out; // standard output, unless it went elsewhere
    std::string err;
    int64_t peak_bytes; // of memory

    // The lines of standard error that begin so.
    std::vector<std::string> lines(const std::string &start) const;
};

struct CommandStreams {
    std::string directory = {};   // where the command runs; empty: where the test does
    std::string input = {};       // what standard input holds
    std::string output_path = {}; // where standard output goes; empty: into the result
    bool closed_output = false;   // standard output is a pipe that nobody reads
    bool closed = false;          // standard input and standard error are not open
    bool terminal = false;        // standard error is a terminal
    int signal = 0;               // sent to the command that long after its start, unless it has ended by then
    std::chrono::microseconds signal_after = {};
};

// The command of this build, or the one that VORDTA_COMMAND names. Throws std::runtime_error when it cannot be started.
CommandResult run_command(const std::vector<std::string> &arguments, const CommandStreams &streams = {});

} // namespace vor::test
