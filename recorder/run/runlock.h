// The lock of the registered run. It is held by the process that took it and by the children that
// it forked, and released by the kernel when the last of them ends.

#pragma once

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <optional>
#include <string>

namespace recorder {

class RunLock {
public:
    // Takes the lock; nothing if another process holds it. Throws Error when the lock file can't be
    // used.
    [[nodiscard]] static std::optional<RunLock> TryTake();

    // Like TryTake, but throws Busy if another process holds the lock: "a run is in progress:
    // " (or what else holds it), followed by `consequence`, such as "nothing was restored".
    [[nodiscard]] static RunLock Take(const std::string& consequence);

    // Releases the lock for every process that shares it.
    void Release();

    // Sets the run mark (runmark.h), which shows that the holder of the lock is a run, until the
    // lock is released. Other holders (an undo, an adoption) don't set it. Returns false if that
    // isn't possible; a run doesn't depend on it.
    bool ShowRun() noexcept;

    // Returns false after ShowRun failed.
    [[nodiscard]] bool CanShowRun() const { return m_canShowRun; }

    // Writes the text to the beginning of the lock file. After a failure the old text remains.
    void Write(const std::string& text) const noexcept;

private:
    explicit RunLock(UniqueFd file) : m_file(std::move(file)) {}

    UniqueFd m_file;
    bool m_canShowRun = true;
};

// The lock of the run that this process or its parent has registered; null if there is none.
[[nodiscard]] RunLock* HeldRunLock();

void HoldRunLock(RunLock lock);

// Releases the held lock, if there is one.
void ReleaseRunLock();

// Shows that this process has an unregistered run in progress, until HideUnregisteredRun or the end
// of the process. A run doesn't depend on it.
void ShowUnregisteredRun() noexcept;
void HideUnregisteredRun() noexcept;

} // namespace recorder
