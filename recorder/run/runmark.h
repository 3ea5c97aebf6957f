// The run mark: a lock on the file of the run lock that shows that a run is in progress. The run
// lock itself (flock) can only be tested by taking it, which could refuse a run that begins at that
// moment; and /proc shows only processes of the same user. The mark is an open file description
// lock: like the run lock it is inherited by a forked child and released by the kernel when the
// last process ends, and every user who may read the file can query it.

#pragma once

#include "recorder/support/uniquefd.h"

namespace recorder {

// Returns false if the mark can't be set: the file system has no such locks, or another process
// holds one on the same byte.
[[nodiscard]] bool SetRunMark(const UniqueFd& lockFile) noexcept;

// Returns true if a mark could be set on this file; false if the kernel or the file system has no
// such locks, or if that could not be determined. Does not hinder any run.
[[nodiscard]] bool CanHoldRunMark(const UniqueFd& lockFile) noexcept;

void RemoveRunMark(const UniqueFd& lockFile) noexcept;

// Returns whether a process holds the mark. Takes no lock. Throws Error when the mark can't be
// queried.
[[nodiscard]] bool HasRunMark(const UniqueFd& lockFile);

// Sets the mark of an unregistered run, which holds no run lock. It is on another byte, and several
// runs can hold it at the same time. A failure is ignored: such a run is then found only by its
// record.
void SetUnregisteredRunMark(const UniqueFd& lockFile) noexcept;

// Returns whether a process holds the mark of an unregistered run. Takes no lock. Throws Error when
// the mark can't be queried.
[[nodiscard]] bool HasUnregisteredRunMark(const UniqueFd& lockFile);

} // namespace recorder
