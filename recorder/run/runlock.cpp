#include "recorder/run/runlock.h"

#include "recorder/run/live.h"
#include "recorder/run/runmark.h"
#include "recorder/support/filelock.h"
#include "recorder/support/paths.h"

#include <exception>

#include <sys/file.h>
#include <unistd.h>

namespace recorder {

namespace {

std::optional<RunLock>& Held() {
    static std::optional<RunLock> lock;
    return lock;
}

UniqueFd& UnregisteredRun() {
    static UniqueFd file;
    return file;
}

// The holder of the run lock, for messages. Only a run sets the run mark.
std::string HolderText() {
    switch (FindRegisteredRun().answer) {
    case RunInProgress::Answer::Yes:
        return "a run";
    case RunInProgress::Answer::No:
        return "an undo, a fix, an adoption, a restore or the removal of a camera";
    case RunInProgress::Answer::Unknown:
        break;
    }
    return "a run, an undo, a fix, an adoption, a restore or the removal of a camera";
}

} // namespace

std::optional<RunLock> RunLock::TryTake() {
    std::optional<UniqueFd> file = TryLockFile(kRunLockFile);
    return file ? std::optional(RunLock(std::move(*file))) : std::nullopt;
}

RunLock RunLock::Take(const std::string& consequence) {
    std::optional<RunLock> lock = TryTake();
    if (!lock) {
        throw Busy(HolderText() + " is in progress: " + consequence);
    }
    return std::move(*lock);
}

void RunLock::Release() {
    // Closing is not enough, because a forked process may hold the same lock. The mark is removed
    // first: the next holder of the lock must be able to set it.
    RemoveRunMark(m_file);
    flock(m_file.Get(), LOCK_UN);
    m_file.Reset();
}

bool RunLock::ShowRun() noexcept {
    m_canShowRun = SetRunMark(m_file);
    return m_canShowRun;
}

void RunLock::Write(const std::string& text) const noexcept {
    [[maybe_unused]] const ssize_t ignored = pwrite(m_file.Get(), text.data(), text.size(), 0);
}

RunLock* HeldRunLock() {
    return Held() ? &*Held() : nullptr;
}

void HoldRunLock(RunLock lock) {
    Held() = std::move(lock);
}

void ReleaseRunLock() {
    if (Held()) {
        Held()->Release();
        Held().reset();
    }
}

void ShowUnregisteredRun() noexcept {
    try {
        UnregisteredRun() = OpenLockFile(kRunLockFile);
        SetUnregisteredRunMark(UnregisteredRun());
    } catch (const std::exception&) {
        UnregisteredRun().Reset();
    }
}

void HideUnregisteredRun() noexcept {
    UnregisteredRun().Reset();
}

} // namespace recorder
