#include "recorder/run/live.h"

#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"
#include "recorder/utility/format.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

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

// Whether the kernel's list of locks has one on this file. File systems may number their devices
// otherwise there than for stat, so the file's own number decides.
bool IsLocked(const struct stat64& st) {
    std::ifstream locks("/proc/locks");
    if (!locks) {
        throw SystemError("read /proc/locks");
    }
    const std::string inode = ":" + std::to_string(st.st_ino) + " ";
    for (std::string line; std::getline(locks, line);) {
        if (line.find(" FLOCK ") != std::string::npos && line.find(inode) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool IsAlive(int pid) {
    return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
}

} // namespace

void PublishLiveRun(const LiveRun& live) noexcept {
    if (const RunLock* const lock = HeldRunLock()) {
        lock->Write(TextOf(live));
    }
}

std::optional<LiveRun> ReadLiveRun() {
    const UniqueFd file = OpenTextFileIfThere(kRunLockFile, Links::Refuse);
    return file.IsOpen() ? Parse(ReadText(file, kRunLockFile, kMaxTextBytes)) : std::nullopt;
}

std::optional<LiveRun> RegisteredRun() {
    struct stat64 st = {};
    if (stat64(kRunLockFile, &st) != 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw SystemError(std::string("look at ") + kRunLockFile);
    }
    if (!IsLocked(st)) {
        return std::nullopt;
    }
    const std::optional<LiveRun> live = ReadLiveRun();
    return live && IsAlive(live->pid) ? live : std::optional(LiveRun());
}

} // namespace recorder
