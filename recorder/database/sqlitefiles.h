// System calls on the files of an SQLite database.

#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

namespace recorder {

// Throws Error if the database, or one of the files that SQLite keeps beside it, exists and is not
// a regular file. SQLite would wait for a writer of a FIFO.
void RequireRegularFiles(const std::string& path);

// mmap(2) for SQLite. For a shared writable mapping, it first allocates the space on the disk, and
// fails if that fails: on a full disk whose blocks are smaller than the processor's pages, a write
// to the index of the log (-shm) would otherwise end the process with SIGBUS.
void* MapWithSpace(void* address, size_t length, int protection, int flags, int file,
                   off_t offset) noexcept;

} // namespace recorder
