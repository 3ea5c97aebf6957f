// stopwatch FILE COMMAND...: runs a command and writes to FILE its time in seconds from start to
// exit, its peak memory in KiB, and its exit status. This program is small because the kernel never
// reports a peak below the memory of the parent at the start.

#include <cstdio>
#include <ctime>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double Now() {
    constexpr double kNsPerSecond = 1e9;
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / kNsPerSecond;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: stopwatch FILE COMMAND...\n");
        return 64;
    }
    pid_t child = 0;
    int status = 0;
    struct rusage usage = {};
    const double begin = Now();
    if (posix_spawnp(&child, argv[2], nullptr, nullptr, argv + 2, environ) != 0 ||
        wait4(child, &status, 0, &usage) != child) {
        std::perror(argv[2]);
        return 1;
    }
    const double seconds = Now() - begin;
    std::FILE* const file = std::fopen(argv[1], "w");
    if (file == nullptr ||
        std::fprintf(file, "%.6f %ld %d\n", seconds, usage.ru_maxrss, status) < 0 ||
        std::fclose(file) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
