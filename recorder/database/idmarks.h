// The highest ids that this recorder has given, in a file beside the databases: a database that is
// lost, or restored from an older copy, no longer knows them.

#pragma once

#include <optional>

namespace recorder {

enum class IdKind { Run, Outbox };

// The highest id that was noted; nothing if the file has none, because it was lost or no database
// was ever created here. Throws Error if that can't be determined.
[[nodiscard]] std::optional<long> HighestNotedId(IdKind kind);

// Notes an id, unless a higher one is noted. The note survives this process, but not a crash of the
// machine. Throws Error.
void NoteId(IdKind kind, long id);

// Like NoteId, but also flushes the note to the disk.
void NoteIdForGood(IdKind kind, long id);

// Throws Error if the file can't be used, so that no run can be recorded: it is not a regular file,
// or may not be read and written. Changes nothing. The next run creates a missing file. This check
// is in idmarkscheck.cpp, because programs that only read need it, too.
void RequireUsableIdMarks();

} // namespace recorder
