// The mark that a registered run keeps on the file of the run lock, for whoever asks whether a run
// is in progress. The run lock itself (flock) can be asked only by trying to take it, which could
// refuse a run that begins at that moment; and /proc answers only about processes of the same user.
// The mark is an open file description lock: like the run lock it is inherited by a forked child
// and released by the kernel with the last process, and anyone who may read the file can query it.

#pragma once

#include "recorder/support/uniquefd.h"

namespace recorder {

// False when the mark can't be set: the file system has no such locks, or another process holds one
// on the same byte.
[[nodiscard]] bool SetRunMark(const UniqueFd& lockFile) noexcept;

// Whether a mark could be set on this file: false where the kernel or the file system has no such
// locks, and where that can't be seen. Takes nothing that keeps anyone from anything.
[[nodiscard]] bool CanHoldRunMark(const UniqueFd& lockFile) noexcept;

void RemoveRunMark(const UniqueFd& lockFile) noexcept;

// Whether a process holds the mark. Takes nothing. Throws Error when it can't be queried.
[[nodiscard]] bool HasRunMark(const UniqueFd& lockFile);

// The mark of a run that is not registered, which holds no lock: several of them can hold it at
// once, on another byte. A failure is no one's: such a run is then found by its record only.
void SetUnregisteredRunMark(const UniqueFd& lockFile) noexcept;

// Whether a process holds that mark. Takes nothing. Throws Error when it can't be queried.
[[nodiscard]] bool HasUnregisteredRunMark(const UniqueFd& lockFile);

} // namespace recorder
