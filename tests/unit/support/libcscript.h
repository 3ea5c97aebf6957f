// What the C library answers in a unit test: the test programs are linked so that the calls below
// pass through here (the linker's --wrap). Without a script each does what it always does.

#pragma once

#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace unit {

struct ListedEntry {
    std::string name;
    unsigned char type = DT_REG;
};

struct LibcScript {
    std::optional<time_t> now;     // time()
    std::optional<timespec> clock; // clock_gettime(CLOCK_REALTIME)
    int clockError = 0;            // errno of the failures; 0 = none
    int pipeError = 0;
    int forkError = 0;

    // A folder, and where its content really lies.
    std::pair<std::string, std::string> redirection;

    std::map<std::string, int> opendirErrors;                 // by path
    std::map<std::string, int> statErrors;                    // by path
    std::map<std::string, struct stat64> statuses;            // by path, in place of the file's
    std::map<std::string, std::vector<ListedEntry>> listings; // by folder, in place of its entries
    std::map<std::string, int> readErrorAfter; // by folder: so many entries, then an error

    // Puts pipe, fork, close, read (of the pipe's ends) and _exit into the transcript.
    bool recordProcessCalls = false;
    std::function<void()> beforeRead; // of the pipe's read end

    // What the next read of the pipe's read end returns at once, and its errno.
    std::optional<std::pair<ssize_t, int>> nextRead;

    std::function<void()> beforeGetopt;

    pid_t child = -1;   // of the last fork
    int openDirCnt = 0; // folders opened and not closed yet
    std::vector<std::string>
        statCalls; // the paths whose status was asked for, links followed or not
};

LibcScript& Libc();
void ResetLibc();

} // namespace unit
