#include "recorder/run/live.h"

#include "recorder/database/databases.h"
#include "recorder/run/runmark.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"

#include <cerrno>
#include <csignal>
#include <sstream>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

using Answer = RunInProgress::Answer;

constexpr int kReadAttempts = 3; // the record may be incomplete while its run writes it

struct Record {
    LiveRun live;
    bool hasMark = false; // its run sets the run mark (runmark.h)
};

// Reads the text that PublishLiveRun writes: names, each followed by its value.
std::optional<Record> Parse(const std::string& text) {
    std::istringstream in(text);
    std::string name;
    const auto read = [&](auto&... values) { ((in >> name >> values), ...); };
    Record record;
    LiveRun& live = record.live;
    long first = 0;
    long last = 0;
    read(first, live.run, live.pid, live.startTm, live.progress, live.kind, live.camId, live.known,
         live.partFiles, live.files, live.failures, live.refusals, live.ahead, record.hasMark,
         last);
    if (!in || first != last) {
        return std::nullopt;
    }
    if (live.kind == "-") {
        live.kind.clear();
    }
    return record;
}

std::optional<Record> ReadRecord(const UniqueFd& file) {
    for (int attempt = 0; attempt < kReadAttempts; ++attempt) {
        if (lseek64(file.Get(), 0, SEEK_SET) != 0) {
            throw SystemError(std::string("read the file ") + kRunLockFile);
        }
        if (std::optional<Record> record = Parse(ReadText(file, kRunLockFile, kMaxLiveRunBytes))) {
            return record;
        }
    }
    return std::nullopt;
}

RunInProgress Unknown(const std::string& why) {
    return {Answer::Unknown, {}, why};
}

std::string ProcessText(int pid) {
    return "process " + std::to_string(pid);
}

bool IsThere(int pid) {
    return kill(pid, 0) == 0 || errno == EPERM;
}

// Returns whether the process has this file open, as the holder of the run lock has. Throws Error
// when the open files of the process can't be listed.
Answer HasOpen(int pid, const UniqueFd& file) {
    struct stat64 wanted = {};
    if (fstat64(file.Get(), &wanted) != 0) {
        throw SystemError(std::string("examine ") + kRunLockFile);
    }
    bool sawAll = true;
    const std::string folder = "/proc/" + std::to_string(pid) + "/fd";
    const FolderListing listing = ListFolder(folder, [&](const FolderEntry& entry) {
        struct stat64 open = {};
        if (stat64((folder + "/" + entry.name).c_str(), &open) != 0) {
            sawAll = sawAll && errno == ENOENT; // the process has closed it since
            return true;
        }
        return open.st_dev != wanted.st_dev || open.st_ino != wanted.st_ino;
    });
    if (listing == FolderListing::Stopped) {
        return Answer::Yes;
    }
    return sawAll && (listing == FolderListing::Complete || !IsThere(pid)) ? Answer::No
                                                                           : Answer::Unknown;
}

// Finds a run that could not set its mark, as on a file system without such locks.
RunInProgress FindByProcess(const LiveRun& live, const UniqueFd& file) {
    if (live.pid <= 0 || !IsThere(live.pid)) {
        return {};
    }
    const Answer answer = HasOpen(live.pid, file);
    return answer == Answer::Unknown
               ? Unknown(ProcessText(live.pid) +
                         " may hold the run lock, and its open files can't be listed")
               : RunInProgress{answer, live, {}};
}

bool IsEmpty(const UniqueFd& file) {
    struct stat64 status = {};
    return fstat64(file.Get(), &status) == 0 && status.st_size == 0;
}

RunInProgress FindByLock() {
    const UniqueFd file = OpenTextFileIfThere(kRunLockFile, Links::Refuse);
    if (!file.IsOpen()) {
        return {};
    }
    if (HasRunMark(file)) {
        return {Answer::Yes, ReadRecord(file).value_or(Record()).live, {}};
    }
    if (const std::optional<Record> record = ReadRecord(file)) {
        return record->hasMark ? RunInProgress() : FindByProcess(record->live, file);
    }
    // A run without a mark may be in progress, and its process is not known.
    return IsEmpty(file) || CanHoldRunMark(file)
               ? RunInProgress()
               : Unknown(std::string("the run record in ") + kRunLockFile + " can't be read");
}

// The name and state of a process can be read by every user, even where its open files are hidden.
// If even these can't be read, the process may be a krindexer.
bool MayBeKrindexer(int pid) {
    const UniqueFd file =
        OpenTextFileIfThere("/proc/" + std::to_string(pid) + "/stat", Links::Refuse);
    if (!file.IsOpen()) {
        return IsThere(pid);
    }
    const std::string stat = ReadText(file, ProcessText(pid));
    const std::size_t state = stat.find(" (krindexer) ");
    constexpr std::size_t kNameLength = std::string_view(" (krindexer) ").size();
    return state != std::string::npos && stat.compare(state + kNameLength, 1, "Z") != 0;
}

// The last recorded run, if it has not ended and its process may still be running.
std::optional<LiveRun> UnregisteredRun() {
    const DBResult_tag newest =
        Execute(KRDB::DB_SYSTEM,
                "SELECT id, pid FROM run WHERE end_tm IS NULL AND id = (SELECT max(id) FROM run);",
                {.readOnly = true});
    if (newest.RowCount() == 0) {
        return std::nullopt;
    }
    LiveRun run;
    run.run = newest.Long(0, "id");
    run.pid = newest.Int(0, "pid");
    return run.pid > 0 && MayBeKrindexer(run.pid) ? std::optional(run) : std::nullopt;
}

bool IsUnregisteredRunMarked() {
    const UniqueFd file = OpenTextFileIfThere(kRunLockFile, Links::Refuse);
    return file.IsOpen() && HasUnregisteredRunMark(file);
}

} // namespace

std::optional<LiveRun> ReadLiveRun() {
    const UniqueFd file = OpenTextFileIfThere(kRunLockFile, Links::Refuse);
    const std::optional<Record> record =
        file.IsOpen() ? Parse(ReadText(file, kRunLockFile, kMaxLiveRunBytes)) : std::nullopt;
    return record ? std::optional(record->live) : std::nullopt;
}

RunInProgress FindRegisteredRun() {
    try {
        return FindByLock();
    } catch (const Error& error) {
        return Unknown(error.what());
    }
}

RunInProgress FindRunInProgress() {
    RunInProgress found = FindRegisteredRun();
    if (found.answer != Answer::No) {
        return found;
    }
    const std::optional<LiveRun> unregistered = UnregisteredRun();
    if (!unregistered) {
        return IsUnregisteredRunMarked()
                   ? Unknown(
                         "a krindexer that is not registered has started, and is not recorded yet")
                   : found;
    }
    found = FindRegisteredRun(); // a run may have begun since the first call
    return found.answer != Answer::No
               ? found
               : Unknown("run " + std::to_string(unregistered->run) +
                         " is not registered and has not ended, and a krindexer has its process "
                         "id, " +
                         std::to_string(unregistered->pid));
}

} // namespace recorder
