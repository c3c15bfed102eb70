#include "cli/RunProgram.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {

namespace {

#ifdef __APPLE__
constexpr std::int64_t kilobyte = 1; // its system counts bytes
#else
constexpr std::int64_t kilobyte = 1024;
#endif

AroundRuns& aroundRuns()
{
    static AroundRuns around;
    return around;
}

/// An unlinked file for one stream: a pipe could fill up and hold the program back.
class Capture {
public:
    Capture()
        : file_(std::tmpfile())
    {
        if (file_ == nullptr) {
            throw std::runtime_error("no temporary file");
        }
    }
    ~Capture() { std::fclose(file_); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    int fd() const { return fileno(file_); }
    std::string text() const
    {
        std::string text;
        std::rewind(file_);
        char buffer[65536];
        for (std::size_t n = 0; (n = std::fread(buffer, 1, sizeof buffer, file_)) > 0;) {
            text.append(buffer, n);
        }
        return text;
    }

private:
    std::FILE* file_;
};

Ran run(const std::vector<std::string>& command, const std::function<void(pid_t)>& whileRunning)
{
    const Capture output;
    const Capture errors;
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("no process");
    }
    if (child == 0) {
        dup2(output.fd(), STDOUT_FILENO);
        dup2(errors.fd(), STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    if (whileRunning) {
        whileRunning(child);
    }
    int status = 0;
    rusage used{};
    while (wait4(child, &status, 0, &used) < 0 && errno == EINTR) { }
    return {
        .status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
        .output = output.text(),
        .errors = errors.text(),
        .peakBytes = std::int64_t{used.ru_maxrss} * kilobyte,
    };
}

} // namespace

void setAroundRuns(AroundRuns around) { aroundRuns() = std::move(around); }

Ran runVantorel(const std::vector<std::string>& arguments, const std::function<void(pid_t)>& whileRunning)
{
    std::vector<std::string> command{VANTOREL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const auto held = aroundRuns() ? aroundRuns()(arguments) : nullptr;
    return run(command, whileRunning);
}

Ran runTool(const std::vector<std::string>& command) { return run(command, {}); }

bool hasTool(const std::string& name) { return runTool({"sh", "-c", "command -v " + name}).status == 0; }

} // namespace vantorel
