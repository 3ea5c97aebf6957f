// A file under a name that nobody can foresee, until it gets its own.
//
// Names are ".kestora-", random digits, ".tmp". The file is made anew (O_EXCL), so nothing that
// somebody put there is opened, followed or written, and its writer holds a lock on it (flock).
// What a killed writer left has no lock. The next writer in the same folder removes it: regular
// files of the same user with such a name that it can lock. Anything else with such a name stays.

#pragma once

#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

class TemporaryFile {
public:
    // In the open folder, mode 0640 at most. Throws Error.
    explicit TemporaryFile(int folder);
    // Removes it unless it was renamed.
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    TemporaryFile(TemporaryFile&&) = delete;
    TemporaryFile& operator=(TemporaryFile&&) = delete;

    [[nodiscard]] int Fd() const { return m_file.Get(); }
    [[nodiscard]] const std::string& Name() const { return m_name; }

    // It has another name now.
    void Keep() { m_isKept = true; }

private:
    void Make();
    [[nodiscard]] bool IsLocked() const;

    int m_folder;
    std::string m_name;
    UniqueFd m_file;
    bool m_isKept = false;
};

// Removes what killed writers left in the open folder. What can't be removed stays.
void RemoveLeftTemporaries(int folder);

} // namespace recorder
