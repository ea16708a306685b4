// usage: merge_measure COMMAND ARGUMENT...
// Runs the command, its standard output thrown away, and prints "SECONDS PEAK_KIB STATUS" on one line: wall
// clock time and the largest resident set of any one process that it started. It is a small program because a
// child's peak begins at the size of whoever started it.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: merge_measure COMMAND ARGUMENT...\n", stderr);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        execvp(argv[1], argv + 1);
        std::fprintf(stderr, "%s: %s\n", argv[1], std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    while (child < 0 || wait4(child, &status, 0, &usage) < 0) {
        if (child < 0 || errno != EINTR) {
            std::perror("merge_measure");
            return 1;
        }
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%.4f %ld %d\n", seconds.count(), usage.ru_maxrss,
                WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    return 0;
}
