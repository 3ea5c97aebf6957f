// The two steps of a restore: copies of the set's databases beside those of the recorder, and the
// replacement of all three, which nothing sees until it is committed.

#pragma once

#include "recorder/backup/databasecopy.h"
#include "recorder/database/sqlite.h"
#include "recorder/support/uniquefd.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace recorder {

// Removes what a killed restore left of staged databases. The caller holds the backup lock. Throws
// Error.
void RemoveStagedDatabases();

// Copies of the databases of a set, until they are destroyed.
class StagedDatabases {
public:
    // Calls RemoveStagedDatabases first. Throws Error.
    explicit StagedDatabases(const std::string& setFolder);
    ~StagedDatabases();
    StagedDatabases(const StagedDatabases&) = delete;
    StagedDatabases& operator=(const StagedDatabases&) = delete;
    StagedDatabases(StagedDatabases&&) = delete;
    StagedDatabases& operator=(StagedDatabases&&) = delete;

    // In the order of kDatabaseInstances.
    [[nodiscard]] SqliteDatabase& At(std::size_t index) { return m_databases.at(index); }

private:
    std::vector<SqliteDatabase> m_databases;
};

class Replacement {
public:
    // Writes the staged databases into those of the recorder, and creates missing ones, without
    // committing. Ids that the recorder's databases have given to rows are not given again. From
    // then on no other process can write to them. Destroyed before the commit, it changes nothing.
    // Throws Error.
    explicit Replacement(StagedDatabases& staged);

    // Commits the databases one after the other. Throws Error if one of them can't be committed.
    void Commit();

private:
    struct One {
        One(SqliteDatabase& staged, const std::string& path);
        SqliteDatabase database;
        SqliteCopy copy;
    };

    UniqueFd m_reserve;
    std::array<std::unique_ptr<One>, kDatabaseInstances.size()> m_all;
};

} // namespace recorder
