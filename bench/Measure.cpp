// vantorel-measure COMMAND [ARGUMENT…]: runs a command with its output thrown away and prints
// "<seconds of wall clock> <peak resident KiB> <exit status> <seconds of processor>", its children counted.

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: vantorel-measure COMMAND [ARGUMENT…]\n");
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        return 3;
    }
    if (child == 0) {
        const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nothing >= 0) {
            dup2(nothing, STDOUT_FILENO);
        }
        execvp(argv[1], argv + 1);
        std::perror(argv[1]);
        _exit(127);
    }
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child) {
        std::perror("wait4");
        return 3;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
#ifdef __APPLE__
    const long peakKiB = used.ru_maxrss / 1024; // bytes there, KiB on Linux
#else
    const long peakKiB = used.ru_maxrss;
#endif
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    std::printf("%.3f %ld %d %.3f\n", took.count(), peakKiB, WIFEXITED(status) ? WEXITSTATUS(status) : 128,
        seconds(used.ru_utime) + seconds(used.ru_stime));
    return 0;
}
