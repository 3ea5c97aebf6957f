// The highest ids that this recorder has given, kept in a file beside the databases: one that is
// lost, or restored from an older copy, doesn't know them any more.

#pragma once

#include <optional>

namespace recorder {

enum class IdKind { Run, Outbox };

// The highest id that was noted; nothing when the file holds none: it was lost, or no database was
// ever made here. Throws Error when that can't be told.
[[nodiscard]] std::optional<long> HighestNotedId(IdKind kind);

// Notes an id, unless a higher one is noted. What is noted outlives this process, but not the
// machine's sudden end. Throws Error.
void NoteId(IdKind kind, long id);

// The same, on the disk when it returns.
void NoteIdForGood(IdKind kind, long id);

} // namespace recorder
