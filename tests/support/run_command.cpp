// Runs the command; see run_command.h. Its streams are files, so that nothing waits for anything.
#include "run_command.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace vor::test {
namespace {

struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

File scratch_file(const std::string &bytes) {
    File file(std::tmpfile());
    if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size())
        throw std::runtime_error("no temporary file");
    std::rewind(file.get());
    return file;
}

std::string read_from(int descriptor) {
    std::string text;
    char piece[4096];
    for (ssize_t got = 0; (got = read(descriptor, piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<std::size_t>(got));
    return text;
}

std::string contents(std::FILE *file) {
    std::rewind(file);
    return read_from(fileno(file));
}

// A new terminal: the end that the test reads and the one that the command writes to.
std::pair<int, int> open_terminal() {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        throw std::runtime_error("no terminal");
    return {terminal, open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC)};
}

int closed_pipe() {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    close(ends[0]);
    return ends[1];
}

[[noreturn]] void become(std::vector<std::string> words, const std::string &directory, int in, int out, int err,
                         bool closed) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<char *> pointers;
    for (std::string &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (closed)
        for (const int stream : {STDIN_FILENO, STDERR_FILENO})
            close(stream);
    if (directory.empty() || chdir(directory.c_str()) == 0)
        execv(pointers[0], pointers.data());
    _exit(127);
}

} // namespace

std::vector<std::string> CommandResult::lines(const std::string &start) const {
    std::vector<std::string> found;
    std::istringstream text(err);
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(start))
            found.push_back(line);
    }
    return found;
}

CommandResult run_command(const std::vector<std::string> &arguments, const CommandStreams &streams) {
    const char *named = std::getenv("VORDTA_COMMAND");
    const std::string command = std::filesystem::absolute(named == nullptr ? VORDTA_BUILT_COMMAND : named).string();
    std::vector<std::string> words{command};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const File in = scratch_file(streams.input);
    const File out = scratch_file("");
    const File err = scratch_file("");
    const int out_descriptor = streams.closed_output ? closed_pipe()
                               : !streams.output_path.empty()
                                   ? open(streams.output_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)
                                   : dup(fileno(out.get()));
    const auto [terminal, err_descriptor] = streams.terminal ? open_terminal() : std::pair(-1, dup(fileno(err.get())));
    const pid_t child = fork();
    if (child == 0)
        become(words, streams.directory, fileno(in.get()), out_descriptor, err_descriptor, streams.closed);
    close(out_descriptor);
    close(err_descriptor);
    if (streams.signal != 0) {
        std::this_thread::sleep_for(streams.signal_after);
        kill(child, streams.signal); // a child that has ended keeps its number until it is waited for
    }
    CommandResult result{};
    if (streams.terminal) {
        result.err = read_from(terminal); // until the command has closed its end
        close(terminal);
    }
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    result.peak_bytes = int64_t{used.ru_maxrss} * 1024;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (result.status == 127)
        throw std::runtime_error("cannot run " + command);
    result.out = contents(out.get());
    if (!streams.terminal)
        result.err = contents(err.get());
    return result;
}

} // namespace vor::test
