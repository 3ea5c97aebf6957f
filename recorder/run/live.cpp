#include "recorder/run/live.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"
#include "recorder/utility/folder.h"

#include <cerrno>
#include <csignal>
#include <sstream>

#include <sys/stat.h>

namespace recorder {

namespace {

std::optional<LiveRun> Parse(const std::string& text) {
    std::istringstream in(text);
    LiveRun live;
    long first = 0;
    long last = 0;
    std::string name;
    in >> name >> first >> name >> live.run >> name >> live.pid >> name >> live.startTm >> name >>
        live.progress >> name >> live.kind >> name >> live.camId >> name >> live.known >> name >>
        live.partFiles >> name >> live.files >> name >> live.failures >> name >> live.refusals >>
        name >> last;
    if (!in || first != last) {
        return std::nullopt;
    }
    if (live.kind == "-") {
        live.kind.clear();
    }
    return live;
}

// Whether the process is there and has the lock's file open, as the holder of the lock has. The
// kernel's own list of locks leaves out those whose first holder is gone, as that of a run in the
// background is. Of a process that can't be looked into, that it is there must do.
bool HoldsRunLock(int pid) {
    struct stat64 lock = {};
    if (pid <= 0 || stat64(kRunLockFile, &lock) != 0) {
        return false;
    }
    const std::string folder = "/proc/" + std::to_string(pid) + "/fd";
    try {
        return ListFolder(folder, [&](const FolderEntry& entry) {
                   struct stat64 open = {};
                   return stat64((folder + "/" + entry.name).c_str(), &open) != 0 ||
                          open.st_dev != lock.st_dev || open.st_ino != lock.st_ino;
               }) == FolderListing::Stopped;
    } catch (const Error&) {
        return kill(pid, 0) == 0 || errno == EPERM;
    }
}

} // namespace

std::optional<LiveRun> ReadLiveRun() {
    const UniqueFd file = OpenTextFileIfThere(kRunLockFile, Links::Refuse);
    return file.IsOpen() ? Parse(ReadText(file, kRunLockFile, kMaxLiveRunBytes)) : std::nullopt;
}

std::optional<LiveRun> RegisteredRun() {
    std::optional<LiveRun> live = ReadLiveRun();
    return live && HoldsRunLock(live->pid) ? live : std::nullopt;
}

} // namespace recorder
