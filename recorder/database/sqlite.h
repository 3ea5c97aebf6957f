// The wrapper of SQLite: one connection to one database file.

#pragma once

#include "recorder/database/database.h"
#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_backup;
struct sqlite3_stmt;

namespace recorder {

// How a database is read without any change to its file and the files beside it. SQLite's log is
// the file FILE-wal.
enum class SqliteReadMode {
    Immutable, // no lock and no log: the caller ensures that there is no log and no writer
    Shared,    // with the log, beside other processes that may write; SQLite can't always do this
    Alone,     // with the log, without a lock: the caller ensures that there is no writer
};

// What is the same for every way to access an SQLite database.
class SqliteDialect : public Database {
public:
    using Database::Execute;
    [[nodiscard]] std::string HasIdOf(const std::string& ids) const override;
    [[nodiscard]] std::string RowsWithIds(const std::string& table,
                                          const std::string& ids) const override;
    [[nodiscard]] std::string RaiseIdsSql(const std::string& table, long highest) const override;
    [[nodiscard]] long SchemaVersion() override;
    void ApplySchema(const std::string& sql, long version) override;
};

// SQLite finds the database malformed, or not a database. Thrown by SqliteDatabase where Error is.
class DamagedDatabase : public DatabaseUnusable {
public:
    using DatabaseUnusable::DatabaseUnusable;
};

class SqliteDatabase final : public SqliteDialect {
public:
    // Opens an existing database file. Create also creates a missing one. Throws Error.
    [[nodiscard]] static SqliteDatabase Open(const std::string& path, int lockTimeoutMs);
    [[nodiscard]] static SqliteDatabase Create(const std::string& path, int lockTimeoutMs);

    // Opens a database so that no statement can write to the disk. Throws Error.
    [[nodiscard]] static SqliteDatabase OpenReadOnly(const std::string& path, SqliteReadMode how,
                                                     int lockTimeoutMs);

    ~SqliteDatabase() override;
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;
    SqliteDatabase(SqliteDatabase&& other) noexcept;
    SqliteDatabase& operator=(SqliteDatabase&& other) noexcept;

    [[nodiscard]] const std::string& Name() const override { return m_name; }
    using Database::Execute;
    DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) override;
    void LetOthersWrite() override;
    void AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) override;

    // Replaces the whole content of `target` by the content of this database, in one transaction of
    // the target: after a failure the target is unchanged. Within a transaction of this connection,
    // its view of the database is copied. Others can write to this database in the meantime. Throws
    // Error.
    void CopyInto(SqliteDatabase& target);

private:
    friend class SqliteCopy;

    struct Close {
        void operator()(sqlite3* handle) const;
    };

    // `target` is a path, or with SQLITE_OPEN_URI a URI. `vfs` is the name of SQLite's layer for
    // files, null for the default.
    SqliteDatabase(const std::string& path, const std::string& target, int flags, const char* vfs,
                   int lockTimeoutMs);

    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

    struct Attribution;
    struct Unlocked;

    void ConfigureToWrite();
    [[nodiscard]] bool MayBeOpenElsewhere();
    [[nodiscard]] Statement PrepareNext(const char*& sql);
    [[nodiscard]] bool OnlyReads(const Statement& first, const char* rest);
    void Run(const Statement& statement, bool readOnly, DBResult_tag& rows);
    void RunPlain(const char* statement);
    void WriteCounts();
    [[noreturn]] void Fail(const std::string& attempted);

    std::string m_path;
    std::string m_name;
    int m_lockTimeoutMs;
    bool m_isReadOnly = false;
    std::unique_ptr<Attribution> m_attribution; // SQLite holds pointers to these two
    std::unique_ptr<Unlocked> m_unlocked;
    // Closed after SQLite's handle: a process that closes any descriptor of a file loses all its
    // locks on the file.
    UniqueFd m_locks;
    std::unique_ptr<sqlite3, Close> m_handle;
};

// What CopyInto does, in steps, so that several databases can be replaced almost at once. Until
// Commit the target is unchanged, but no other connection can write to it. Both databases must stay
// open, and where they are in memory, until this object is destroyed, which rolls back an
// uncommitted copy. Each function throws Error, after which nothing is copied.
class SqliteCopy {
public:
    // Prevents others from writing to the target. The source can still be changed.
    SqliteCopy(SqliteDatabase& source, SqliteDatabase& target);

    // Writes all pages but the last one, so that Commit hardly needs space.
    void Write();
    void Commit();

private:
    struct Finish {
        void operator()(sqlite3_backup* copy) const;
    };

    void Step(int pages);

    SqliteDatabase& m_target;
    std::string m_attempted;
    std::unique_ptr<sqlite3_backup, Finish> m_copy;
};

} // namespace recorder
