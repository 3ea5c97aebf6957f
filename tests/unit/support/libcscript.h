// Scripted results of the C library in a unit test: the linker's --wrap leads the calls of the test
// programs through libcscript.cpp. A call without a script is passed to the C library.

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
    int clockError = 0;            // the errno with which clock_gettime fails; 0: does not fail
    int pipeError = 0;
    int forkError = 0;

    // Paths that begin with the first are replaced by paths that begin with the second.
    std::pair<std::string, std::string> redirection;

    std::map<std::string, int> opendirErrors;                 // by path
    std::map<std::string, int> statErrors;                    // by path
    std::map<std::string, struct stat64> statuses;            // by path, instead of the file's
    std::map<std::string, std::vector<ListedEntry>> listings; // by folder, instead of its entries
    std::map<std::string, int> readErrorAfter; // by folder: the entries before a read error

    // Records pipe, fork, close and read of the pipe's ends, and _exit in the transcript.
    bool recordProcessCalls = false;
    std::function<void()> beforeRead; // called before a read of the pipe's read end

    // The immediate result of the next read of the pipe's read end, and its errno.
    std::optional<std::pair<ssize_t, int>> nextRead;

    std::function<void()> beforeGetopt;

    pid_t child = -1;                   // the result of the last fork
    int openDirCnt = 0;                 // the number of open folders
    std::vector<std::string> statCalls; // the paths of all calls of stat, lstat and fstatat
};

LibcScript& Libc();
void ResetLibc();

} // namespace unit
