#include "recorder/database/readonlydatabase.h"

#include "recorder/database/openpostgres.h"
#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"

#include <chrono>
#include <ctime>
#include <exception>
#include <optional>

#include <sys/stat.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr off64_t kLogHeaderBytes = 32;
constexpr int kAttempts = 5; // for one state of the files
constexpr long kNsPerMs = 1'000'000;
constexpr long kNsPerS = 1'000'000'000;
constexpr long kLongestTickNs = 100 * kNsPerMs;

struct FileState {
    dev_t device;
    ino_t number;
    off64_t size;
    long modifiedNs; // since the epoch

    bool operator==(const FileState&) const = default;
};

struct DiskState {
    std::optional<FileState> file;
    std::optional<FileState> log;     // FILE-wal: changes that are not in the file yet
    std::optional<FileState> journal; // FILE-journal, from a writer without a log

    bool operator==(const DiskState&) const = default;
};

long Nanoseconds(const struct timespec& time) {
    return time.tv_sec * kNsPerS + time.tv_nsec;
}

std::optional<FileState> StateOfFile(const std::string& path) {
    struct stat64 st = {};
    if (stat64(path.c_str(), &st) == 0) {
        return FileState{st.st_dev, st.st_ino, st.st_size, Nanoseconds(st.st_mtim)};
    }
    if (errno != ENOENT) {
        throw SystemError("examine " + path);
    }
    return std::nullopt;
}

DiskState StateOf(const std::string& path) {
    return {StateOfFile(path), StateOfFile(path + "-wal"), StateOfFile(path + "-journal")};
}

// The clock of file times advances in ticks, so two writes within one tick have the same time.
// Waits until the tick in which the file was written has passed.
void AwaitTickAfter(const std::optional<FileState>& file) {
    for (long waitedNs = 0; file && waitedNs < kLongestTickNs; waitedNs += kNsPerMs) {
        struct timespec now = {};
        clock_gettime(CLOCK_REALTIME_COARSE, &now);
        const long sinceNs = Nanoseconds(now) - file->modifiedNs;
        if (sinceNs > 0 || sinceNs < -kLongestTickNs) { // or the clock was set back
            return;
        }
        const struct timespec pause = {0, kNsPerMs};
        nanosleep(&pause, nullptr);
    }
}

// The ways to read the database in this state, best first. A writer that was killed when it began a
// log leaves one without a frame: Shared would retry to read that for 10 s before it fails.
std::vector<SqliteReadMode> WaysToRead(const DiskState& state) {
    if (!state.log && !state.journal) {
        return {SqliteReadMode::Immutable};
    }
    if (state.log && state.log->size == kLogHeaderBytes) {
        return {SqliteReadMode::Alone, SqliteReadMode::Shared};
    }
    return {SqliteReadMode::Shared, SqliteReadMode::Alone};
}

} // namespace

ReadOnlyDatabase::ReadOnlyDatabase(std::string path, int lockTimeoutMs)
    : m_path(std::move(path)), m_name("database " + m_path), m_lockTimeoutMs(lockTimeoutMs) {}

DBResult_tag ReadOnlyDatabase::Execute(const std::string& sql, const ExecuteOptions& options) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(m_lockTimeoutMs);
    std::exception_ptr failure;
    for (int attempts = kAttempts; attempts > 0;) {
        const DiskState before = StateOf(m_path);
        AwaitTickAfter(before.file);
        AwaitTickAfter(before.log);
        for (const SqliteReadMode how : WaysToRead(before)) {
            try {
                DBResult_tag rows = SqliteDatabase::OpenReadOnly(m_path, how, m_lockTimeoutMs)
                                        .Execute(sql, options);
                if (how == SqliteReadMode::Shared || StateOf(m_path) == before) {
                    return rows;
                }
                failure = std::make_exception_ptr(
                    Error(m_name + ": can't be read without a change to it: other processes write "
                                   "to it all the time"));
            } catch (const Error&) {
                failure = std::current_exception();
            }
        }
        // A writer may have removed the log before it was opened.
        const bool isOtherState = StateOf(m_path) != before && Clock::now() < deadline;
        attempts = isOtherState ? kAttempts : attempts - 1;
    }
    std::rethrow_exception(failure);
}

void ReadOnlyDatabase::AttributeTo(const RunIdentity& /*run*/,
                                   const std::vector<MediaTable>& /*tables*/) {
    throw Error(m_name + " is opened read-only");
}

std::unique_ptr<Database> OpenReadOnlyDatabaseOf(KRDB::DB_INSTANCE instance) {
    const DatabaseSettings& settings = GetSettings().database;
    if (settings.postgres) {
        return OpenPostgres(*settings.postgres, settings.lockTimeoutMs, PostgresAccess::ReadOnly);
    }
    return std::make_unique<ReadOnlyDatabase>(DatabasePath(instance), settings.lockTimeoutMs);
}

} // namespace recorder
