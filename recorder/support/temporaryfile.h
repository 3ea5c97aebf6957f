// A file with an unpredictable name, until it is renamed.
//
// The name is ".kestora-", random digits, ".tmp". The file is created with O_EXCL, so an existing
// entry is never opened, followed or written. Its writer holds a lock on it (flock). A temporary
// file left by a killed writer is not locked. The next writer in the folder removes regular files
// of the same user with such a name that it can lock. All other entries with such a name stay.

#pragma once

#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

class TemporaryFile {
public:
    // Creates the file in the open folder, mode 0640 at most. Throws Error.
    explicit TemporaryFile(int folder);
    // Removes the file unless Keep was called.
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    TemporaryFile(TemporaryFile&&) = delete;
    TemporaryFile& operator=(TemporaryFile&&) = delete;

    [[nodiscard]] int Fd() const { return m_file.Get(); }
    [[nodiscard]] const std::string& Name() const { return m_name; }

    // The caller has renamed the file.
    void Keep() { m_isKept = true; }

private:
    void Make();
    [[nodiscard]] bool IsLocked() const;

    int m_folder;
    std::string m_name;
    UniqueFd m_file;
    bool m_isKept = false;
};

// Removes the temporary files that killed writers left in the open folder, as far as possible.
void RemoveLeftTemporaries(int folder);

// The same for a folder that is written to many times. A large folder is listed once in many calls.
void RemoveLeftTemporariesNowAndThen(int folder);

} // namespace recorder
