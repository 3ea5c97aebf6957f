#include "recorder/database/idmarks.h"

#include "recorder/logging/recorderlog.h"
#include "recorder/settings/settings.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"
#include "recorder/support/filelock.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <array>
#include <chrono>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::chrono::milliseconds kPollEvery{2};

constexpr long kUnknown = -1;

struct Marks {
    long run = kUnknown;
    long outbox = kUnknown;
};

long& MarkOf(Marks& marks, IdKind kind) {
    return kind == IdKind::Run ? marks.run : marks.outbox;
}

// Other processes hold the lock only while they read and write the file, unless they are stopped.
UniqueFd LockMarks() {
    const Deadline deadline =
        Deadline::In(std::chrono::milliseconds(GetSettings().database.lockTimeoutMs));
    std::optional<UniqueFd> file = TryLockFile(kIdMarksFile);
    while (!file && !deadline.IsOver()) {
        std::this_thread::sleep_for(kPollEvery);
        file = TryLockFile(kIdMarksFile);
    }
    if (!file) {
        throw Error(std::string("another process holds the lock of ") + kIdMarksFile);
    }
    return std::move(*file);
}

// The text has the same length for all numbers, so that replacing it needs no space on a full disk.
std::string TextOf(const Marks& marks) {
    return Format("run %019ld\noutbox %019ld\n", marks.run, marks.outbox);
}

// The next id must be representable, too.
bool IsPlausible(long mark) {
    return mark >= kUnknown && mark < std::numeric_limits<long>::max();
}

std::optional<Marks> ReadMarks(const UniqueFd& file) {
    std::array<char, 64> text{};
    const ssize_t length =
        Uninterrupted([&] { return pread(file.Get(), text.data(), text.size() - 1, 0); });
    if (length < 0) {
        throw SystemError(std::string("read ") + kIdMarksFile);
    }
    Marks marks;
    if (length == 0) {
        return std::nullopt;
    }
    std::istringstream in(text.data());
    std::string run;
    std::string outbox;
    in >> run >> marks.run >> outbox >> marks.outbox;
    if (!in || run != "run" || outbox != "outbox" || !IsPlausible(marks.run) ||
        !IsPlausible(marks.outbox) || TextOf(marks) != text.data()) {
        LogWarning(std::string(kIdMarksFile) +
                   " is damaged and is rewritten from the numbers in the databases");
        return std::nullopt;
    }
    return marks;
}

void WriteMarks(const UniqueFd& file, const Marks& marks) {
    const std::string text = TextOf(marks);
    const ssize_t written =
        Uninterrupted([&] { return pwrite(file.Get(), text.data(), text.size(), 0); });
    if (written != static_cast<ssize_t>(text.size()) ||
        Uninterrupted([&] { return ftruncate(file.Get(), written); }) != 0) {
        throw SystemError(std::string("write ") + kIdMarksFile);
    }
}

// Also flushes the folder, for the name of a new file.
void Flush(const UniqueFd& file) {
    const UniqueFd folder = OpenFolderByPath(kDatabaseDir);
    if (!folder.IsOpen() || fsync(file.Get()) != 0 || fsync(folder.Get()) != 0) {
        throw SystemError(std::string("flush ") + kIdMarksFile);
    }
}

// Returns the locked file.
UniqueFd Raise(IdKind kind, long id) {
    UniqueFd file = LockMarks();
    Marks marks = ReadMarks(file).value_or(Marks());
    if (MarkOf(marks, kind) < id) {
        MarkOf(marks, kind) = id;
        WriteMarks(file, marks);
    }
    return file;
}

} // namespace

std::optional<long> HighestNotedId(IdKind kind) {
    Marks marks = ReadMarks(LockMarks()).value_or(Marks());
    const long id = MarkOf(marks, kind);
    return id == kUnknown ? std::nullopt : std::optional(id);
}

void NoteId(IdKind kind, long id) {
    (void)Raise(kind, id);
}

void NoteIdForGood(IdKind kind, long id) {
    Flush(Raise(kind, id));
}

} // namespace recorder
