#include "recorder/database/readonlydatabase.h"

#include "recorder/database/sqlite.h"
#include "recorder/support/error.h"

#include <chrono>
#include <ctime>
#include <optional>

#include <sys/stat.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kAttempts = 5; // in one state of the disk
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
    std::optional<FileState> log;     // of what isn't in the file yet
    std::optional<FileState> journal; // of a writer that uses no log

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
        throw SystemError("look at " + path);
    }
    return std::nullopt;
}

DiskState StateOf(const std::string& path) {
    return {StateOfFile(path), StateOfFile(path + "-wal"), StateOfFile(path + "-journal")};
}

// Files are stamped by a clock that ticks: what is written within the same tick can't be told by
// the time. A file that was written in this one is left alone until the next.
void AwaitTickAfter(const std::optional<FileState>& file) {
    for (long waitedNs = 0; file && waitedNs < kLongestTickNs; waitedNs += kNsPerMs) {
        struct timespec now = {};
        clock_gettime(CLOCK_REALTIME_COARSE, &now);
        const long sinceNs = Nanoseconds(now) - file->modifiedNs;
        if (sinceNs > 0 || sinceNs < -kLongestTickNs) { // or the clock was set back since
            return;
        }
        const struct timespec pause = {0, kNsPerMs};
        nanosleep(&pause, nullptr);
    }
}

// Of the ways to read it in this state the best one first.
std::vector<SqliteReadMode> WaysToRead(const DiskState& state) {
    if (!state.log && !state.journal) {
        return {SqliteReadMode::Immutable};
    }
    return {SqliteReadMode::Shared, SqliteReadMode::Alone};
}

} // namespace

ReadOnlyDatabase::ReadOnlyDatabase(std::string path, int lockTimeoutMs)
    : m_path(std::move(path)), m_name("database " + m_path), m_lockTimeoutMs(lockTimeoutMs) {}

DBResult_tag ReadOnlyDatabase::Execute(const std::string& sql, const ExecuteOptions& options) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(m_lockTimeoutMs);
    std::string failure;
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
                failure = m_name + ": can't be read without touching it: others write all the time";
            } catch (const Error& error) {
                failure = error.what();
            }
        }
        // Writers come and go, and a log may have gone between the look at it and its opening.
        const bool isOtherState = StateOf(m_path) != before && Clock::now() < deadline;
        attempts = isOtherState ? kAttempts : attempts - 1;
    }
    throw Error(failure);
}

std::string ReadOnlyDatabase::HasIdOf(const std::string& ids) const {
    return SqliteDatabase::IdCondition(ids);
}

std::string ReadOnlyDatabase::RowsWithIds(const std::string& table, const std::string& ids) const {
    return SqliteDatabase::RowsByIds(table, ids);
}

std::string ReadOnlyDatabase::RaiseIdsSql(const std::string& /*table*/, long /*highest*/) const {
    throw Error(m_name + " is only looked at");
}

long ReadOnlyDatabase::SchemaVersion() {
    return Execute("PRAGMA user_version").Long(0, "user_version");
}

void ReadOnlyDatabase::ApplySchema(const std::string& /*sql*/, long /*version*/) {
    throw Error(m_name + " is only looked at");
}

void ReadOnlyDatabase::AttributeTo(const RunIdentity& /*run*/,
                                   const std::vector<MediaTable>& /*tables*/) {
    throw Error(m_name + " is only looked at");
}

} // namespace recorder
