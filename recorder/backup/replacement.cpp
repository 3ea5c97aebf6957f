#include "recorder/backup/replacement.h"

#include "recorder/backup/setcontent.h"
#include "recorder/backup/setfiles.h"
#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

int LockTimeoutMs() {
    return GetSettings().database.lockTimeoutMs;
}

std::string StagedPath(std::size_t index) {
    return std::string(kStagedDatabasePrefix) + kCheckedFiles.at(index);
}

std::string ReservePath() {
    return std::string(kStagedDatabasePrefix) + "reserve";
}

// Creates a file that is removed before the commits, which then have space. StagedDatabases removes
// it otherwise.
UniqueFd ReserveSpace() {
    constexpr off64_t kReserveBytes = 1048576;
    constexpr mode_t kMode = 0640;
    const std::string path = ReservePath();
    UniqueFd file(Uninterrupted([&] {
        return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kMode);
    }));
    if (!file.IsOpen()) {
        throw SystemError("create " + path);
    }
    int error = EINTR;
    while (error == EINTR) {
        error = posix_fallocate64(file.Get(), 0, kReserveBytes);
    }
    if (error != 0) {
        errno = error;
        throw SystemError("reserve space in " + path);
    }
    return file;
}

// Raises the ids of a staged database to those that the recorder's database has given. Another
// connection reads them, because the one of the copy is in use.
void RaiseIds(SqliteDatabase& staged, const std::string& path) {
    SqliteDatabase database = SqliteDatabase::Open(path, LockTimeoutMs());
    if (SchemaVersionIn(database) != kSchemaVersion) {
        return; // it is new, and has no tables
    }
    const DBResult_tag rows =
        database.Execute("SELECT name, seq FROM sqlite_sequence;", {.readOnly = true});
    std::string sql;
    for (int row = 0; row < rows.RowCount(); ++row) {
        sql += database.RaiseIdsSql(rows.Text(row, "name"), rows.Long(row, "seq"));
    }
    staged.Execute(sql);
}

SqliteDatabase OpenToReplace(const std::string& path) {
    SqliteDatabase database = SqliteDatabase::Create(path, LockTimeoutMs());
    // With a small cache all but a few pages are in the log before the commit.
    database.Execute("PRAGMA synchronous = FULL; PRAGMA cache_size = 10;", {.transaction = false});
    return database;
}

} // namespace

void RemoveStagedDatabases() {
    if (unlink(ReservePath().c_str()) != 0 && errno != ENOENT) {
        throw SystemError("remove " + ReservePath());
    }
    for (std::size_t i = 0; i < kDatabaseInstances.size(); ++i) {
        for (const char* const suffix : kDatabaseFileSuffixes) {
            const std::string path = StagedPath(i) + suffix;
            if (unlink(path.c_str()) != 0 && errno != ENOENT) {
                throw SystemError("remove " + path);
            }
        }
    }
}

StagedDatabases::StagedDatabases(const std::string& setFolder) {
    RemoveStagedDatabases();
    try {
        for (std::size_t i = 0; i < kDatabaseInstances.size(); ++i) {
            m_databases.push_back(SqliteDatabase::Create(StagedPath(i), LockTimeoutMs()));
            SqliteDatabase::OpenReadOnly(setFolder + "/" + kCheckedFiles.at(i),
                                         SqliteReadMode::Immutable, LockTimeoutMs())
                .CopyInto(m_databases.back());
        }
    } catch (const Error&) {
        m_databases.clear();
        RemoveStagedDatabases();
        throw;
    }
}

StagedDatabases::~StagedDatabases() {
    m_databases.clear();
    try {
        RemoveStagedDatabases();
    } catch (const Error&) {
        // The next restore tries it again.
    }
}

Replacement::One::One(SqliteDatabase& staged, const std::string& path)
    : database(OpenToReplace(path)), copy(staged, database) {}

Replacement::Replacement(StagedDatabases& staged) : m_reserve(ReserveSpace()) {
    for (std::size_t i = 0; i < m_all.size(); ++i) {
        const std::string path = DatabasePath(kDatabaseInstances.at(i));
        m_all.at(i) = std::make_unique<One>(staged.At(i), path);
        RaiseIds(staged.At(i), path); // no id can be given any more
    }
    for (const auto& one : m_all) {
        one->copy.Write();
    }
}

void Replacement::Commit() {
    if (unlink(ReservePath().c_str()) != 0) {
        throw SystemError("remove " + ReservePath());
    }
    m_reserve = UniqueFd();
    for (const auto& one : m_all) {
        one->copy.Commit();
    }
}

} // namespace recorder
