// The lock of the registered run: held by the process that took it and by the children that it
// forked, released by the kernel when the last of them is gone.

#pragma once

#include "recorder/support/uniquefd.h"

#include <optional>
#include <string>

namespace recorder {

class RunLock {
public:
    // Nothing when another process holds it. Throws Error when the lock file can't be used.
    [[nodiscard]] static std::optional<RunLock> TryTake();

    // Likewise; throws Error also when another process holds it: "a run is in progress: ", or what
    // else is, and what is not done for that reason.
    [[nodiscard]] static RunLock Take(const std::string& consequence);

    // Releases it for every process that shares it.
    void Release();

    // Shows everyone who may read the lock file that a run holds it, until it is released. Whoever
    // holds the lock without a run (an undo, an adoption) doesn't. False when that isn't possible;
    // a run doesn't depend on it.
    bool ShowRun() noexcept;

    // False after ShowRun failed.
    [[nodiscard]] bool CanShowRun() const { return m_canShowRun; }

    // Puts the text at the beginning of the lock file; a failure leaves what was there.
    void Write(const std::string& text) const noexcept;

private:
    explicit RunLock(UniqueFd file) : m_file(std::move(file)) {}

    UniqueFd m_file;
    bool m_canShowRun = true;
};

// The lock of the run that this process, or the one that it was forked from, has registered; null
// when there is none.
[[nodiscard]] RunLock* HeldRunLock();

void HoldRunLock(RunLock lock);

// Releases the held lock, if there is one.
void ReleaseRunLock();

// Shows that a run without the lock is in progress in this process, until HideUnregisteredRun or
// the end of the process. A run doesn't depend on it.
void ShowUnregisteredRun() noexcept;
void HideUnregisteredRun() noexcept;

} // namespace recorder
