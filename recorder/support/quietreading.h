// Reading many files without slowing down programs that record at the same time.

#pragma once

#include "recorder/support/uniquefd.h"

namespace recorder {

// While it exists, this thread's reads are served after those of all other programs, if the disk's
// scheduler has priorities. To be kept short, and never while a database is locked: its other
// users would wait, too.
class IdleReading {
public:
    IdleReading();
    ~IdleReading();
    IdleReading(const IdleReading&) = delete;
    IdleReading& operator=(const IdleReading&) = delete;
    IdleReading(IdleReading&&) = delete;
    IdleReading& operator=(IdleReading&&) = delete;

private:
    int m_before; // -1: the priority could not be read, and stays as it is
};

// Removes the file's bytes from the kernel's memory, as far as they are on the disk: the next read
// asks the disk, and other files keep their place in memory. Without effect if the file system
// doesn't support it.
void DropFromMemory(const UniqueFd& file) noexcept;

} // namespace recorder
