// The files of an SQLite database, as the system knows them.

#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

namespace recorder {

// Throws Error when the database, or one of the files that SQLite keeps beside it, is there and no
// regular file. SQLite would wait for a FIFO to be written.
void RequireRegularFiles(const std::string& path);

// mmap(2), for SQLite to call. What is mapped to be written gets its space on the disk first, or
// the call fails: on a full disk whose blocks are smaller than the processor's pages, a write to
// the index of the log (-shm) would otherwise end the process (SIGBUS).
void* MapWithSpace(void* address, size_t length, int protection, int flags, int file,
                   off_t offset) noexcept;

} // namespace recorder
