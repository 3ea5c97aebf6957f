#include "recorder/run/live.h"

#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"
#include "recorder/utility/folder.h"
#include "recorder/utility/format.h"

#include <cerrno>
#include <csignal>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::size_t kMaxTextBytes = 512; // of one block of the file, so that it's written at once

// The same number at both ends: what is read while it is written is not taken for the truth.
long NextEdition() {
    static long edition = 0;
    return ++edition;
}

std::string TextOf(const LiveRun& live) {
    const long edition = NextEdition();
    std::string text =
        Format("edition %ld\nrun %ld\npid %d\nstart %ld\nprogress %.17g\nkind %s\ncamera %d\n"
               "known %ld\npart_files %ld\nfiles %ld\nfailures %ld\nrefusals %ld\nedition %ld\n",
               edition, live.run, live.pid, live.startTm, live.progress,
               live.kind.empty() ? "-" : live.kind.c_str(), live.camId, live.known, live.partFiles,
               live.files, live.failures, live.refusals, edition);
    text.resize(kMaxTextBytes, '\n');
    return text;
}

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

void PublishLiveRun(const LiveRun& live) noexcept {
    if (const RunLock* const lock = HeldRunLock()) {
        lock->Write(TextOf(live));
    }
}

void PublishBeginning() noexcept {
    LiveRun live;
    live.pid = getpid();
    PublishLiveRun(live);
}

std::optional<LiveRun> ReadLiveRun() {
    const UniqueFd file = OpenTextFileIfThere(kRunLockFile, Links::Refuse);
    return file.IsOpen() ? Parse(ReadText(file, kRunLockFile, kMaxTextBytes)) : std::nullopt;
}

std::optional<LiveRun> RegisteredRun() {
    std::optional<LiveRun> live = ReadLiveRun();
    return live && HoldsRunLock(live->pid) ? live : std::nullopt;
}

} // namespace recorder
