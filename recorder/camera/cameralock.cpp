#include "recorder/camera/cameratable.h"

#include "recorder/settings/settings.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace recorder {

namespace {

constexpr std::chrono::milliseconds kBetweenAttempts{20};

// The lock is on the folder itself, which needs no additional file.
UniqueFd OpenFolder() {
    UniqueFd folder = OpenFolderByPath(kDatabaseDir);
    if (folder.IsOpen()) {
        return folder;
    }
    if (errno == ENOENT) {
        throw DatabaseUnusable(std::string("the folder ") + kDatabaseDir +
                               " does not exist: run krctl init");
    }
    throw SystemError(std::string("open the folder ") + kDatabaseDir);
}

// Returns ", held by process 17", or an empty text if the kernel's list of locks doesn't show the
// holder: some file systems have another device number there, and in a container the processes
// outside of it have no id.
std::string Holder(const UniqueFd& folder) {
    struct stat64 st = {};
    if (fstat64(folder.Get(), &st) != 0) {
        return "";
    }
    const std::string wanted = Format("%02x:%02x:%lu", major(st.st_dev), minor(st.st_dev),
                                      static_cast<unsigned long>(st.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, type, advisory, mode, process, file;
        words >> number >> type >> advisory >> mode >> process >> file;
        if (type == "FLOCK" && file == wanted && process.find_first_of("-0") != 0) {
            return ", held by process " + process;
        }
    }
    return "";
}

} // namespace

UniqueFd LockCameras() {
    UniqueFd folder = OpenFolder();
    const int timeoutMs = GetSettings().database.lockTimeoutMs;
    const Deadline deadline = Deadline::In(std::chrono::milliseconds(timeoutMs));
    while (Uninterrupted([&] { return flock(folder.Get(), LOCK_EX | LOCK_NB); }) != 0) {
        if (errno != EWOULDBLOCK) {
            throw SystemError(std::string("lock the folder ") + kDatabaseDir);
        }
        if (deadline.IsOver()) {
            throw Busy(Format("can't lock the folder %s within %d ms%s: is another command "
                              "changing the cameras?",
                              kDatabaseDir, timeoutMs, Holder(folder).c_str()));
        }
        std::this_thread::sleep_for(kBetweenAttempts);
    }
    return folder;
}

} // namespace recorder
