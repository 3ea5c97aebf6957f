#include "recorder/backup/replacement.h"

#include "recorder/backup/setcontent.h"
#include "recorder/backup/setfiles.h"
#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <unistd.h>

namespace recorder {

namespace {

int LockTimeoutMs() {
    return GetSettings().database.lockTimeoutMs;
}

std::string StagedPath(std::size_t index) {
    return std::string(kStagedDatabasePrefix) + kCheckedFiles.at(index);
}

void RemoveStaged() {
    for (std::size_t i = 0; i < kDatabaseInstances.size(); ++i) {
        for (const char* const suffix : kDatabaseFileSuffixes) {
            const std::string path = StagedPath(i) + suffix;
            if (unlink(path.c_str()) != 0 && errno != ENOENT) {
                throw SystemError("remove " + path);
            }
        }
    }
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
    database.Execute("PRAGMA synchronous = FULL;", {.transaction = false});
    return database;
}

} // namespace

StagedDatabases::StagedDatabases(const std::string& setFolder) {
    RemoveStaged();
    try {
        for (std::size_t i = 0; i < kDatabaseInstances.size(); ++i) {
            m_databases.push_back(SqliteDatabase::Create(StagedPath(i), LockTimeoutMs()));
            SqliteDatabase::OpenReadOnly(setFolder + "/" + kCheckedFiles.at(i),
                                         SqliteReadMode::Immutable, LockTimeoutMs())
                .CopyInto(m_databases.back());
        }
    } catch (const Error&) {
        m_databases.clear();
        RemoveStaged();
        throw;
    }
}

StagedDatabases::~StagedDatabases() {
    m_databases.clear();
    try {
        RemoveStaged();
    } catch (const Error&) {
        // The next restore tries it again.
    }
}

Replacement::One::One(SqliteDatabase& staged, const std::string& path)
    : database(OpenToReplace(path)), copy(staged, database) {}

Replacement::Replacement(StagedDatabases& staged) {
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
    for (const auto& one : m_all) {
        one->copy.Commit();
    }
}

} // namespace recorder
