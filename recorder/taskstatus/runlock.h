// The lock of the registered run: held by the process that took it and by the children that it
// forked, released by the kernel when the last of them is gone.

#pragma once

#include "recorder/support/uniquefd.h"

#include <optional>

namespace recorder {

class RunLock {
public:
    // Nothing when another process holds it. Throws Error when the lock file can't be used.
    [[nodiscard]] static std::optional<RunLock> TryTake();

    // Releases it for every process that shares it.
    void Release();

private:
    explicit RunLock(UniqueFd file) : m_file(std::move(file)) {}

    UniqueFd m_file;
};

} // namespace recorder
