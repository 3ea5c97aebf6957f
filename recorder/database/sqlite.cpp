#include "recorder/database/sqlite.h"

#include "recorder/database/age.h"
#include "recorder/database/sqlitefiles.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <map>
#include <string_view>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr int kManyRows = 10000;
constexpr int kPagesBetweenCheckpoints = 1000; // the default of SQLite

// SQLite has no queue for the write lock: a waiting process tries again every 25 ms, or more often
// during the first 0.13 s. Most waiting processes would miss a lock that is released for a shorter
// time, and many transactions in a row would block the recording for as long as one large one.
constexpr std::chrono::milliseconds kTurnOfOthers{26};

// The page of a database file that is reserved for SQLite's locks.
constexpr off_t kLockPageAt = 0x40000000;
constexpr off_t kLockPageBytes = 512;

std::vector<std::string> ColumnNames(sqlite3_stmt* statement) {
    std::vector<std::string> names(static_cast<std::size_t>(sqlite3_column_count(statement)));
    int column = 0;
    for (std::string& name : names) {
        name = sqlite3_column_name(statement, column++);
    }
    return names;
}

void AppendRow(sqlite3_stmt* statement, DBResult_tag& rows) {
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        const auto* const text =
            reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        if (text != nullptr) {
            rows.AppendField(
                {text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))});
        } else if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
            rows.AppendNull();
        } else {
            throw Error("out of memory");
        }
    }
}

// A temporary trigger works in this connection only, so changes by other processes are not
// attributed to the run. Replaces the trigger of an earlier run.
std::string TemporaryTriggerSql(const std::string& name, const std::string& event,
                                const std::string& body) {
    return "DROP TRIGGER IF EXISTS temp." + name + ";CREATE TEMP TRIGGER " + name + " AFTER " +
           event + " BEGIN " + body + " END;";
}

// A call of the SQL function count_for_run, which AttributeTo adds. `row` is NEW or OLD. Tables
// without cameras are counted for camera 0. Only announced rows are counted by day.
std::string CountRowSql(const MediaTable& table, std::size_t index, const std::string& row) {
    const bool hasCameras =
        std::find(table.columns.begin(), table.columns.end(), "camera_id") != table.columns.end();
    return "SELECT count_for_run(" + std::to_string(index) + ", " +
           (hasCameras ? row + ".camera_id" : "0") + ", " +
           (table.isAnnounced ? DayOfSql(row + ".start_tm") : "0") + ", " +
           (row == "NEW" ? "1, 0, " : "0, 1, ") + row + ".id);";
}

std::string KeepRemovedTriggerSql(long run, const MediaTable& table, std::size_t index) {
    return TemporaryTriggerSql(
        "keep_removed_" + table.name, "DELETE ON main." + table.name,
        "INSERT INTO removed (run, removed_tm, kind, row_id, " + ColumnList(table.columns) +
            ") VALUES (" + std::to_string(run) + ", unixepoch(), '" + table.name + "', OLD.id, " +
            ColumnList(table.columns, "OLD.") + ");" + CountRowSql(table, index, "OLD"));
}

std::string NoteAddedTriggerSql(const MediaTable& table, std::size_t index) {
    const std::string unannounced =
        "INSERT INTO unannounced (id, camera_id) VALUES (NEW.id, NEW.camera_id);";
    return TemporaryTriggerSql("note_added_" + table.name, "INSERT ON main." + table.name,
                               (table.isAnnounced ? unannounced : "") +
                                   CountRowSql(table, index, "NEW"));
}

// A layer for files (VFS) that can't write, in front of one of SQLite's. It is needed because
// options of a connection don't apply to the files beside a database: SQLite would create a missing
// log even to read.
struct ReadOnlyVfs {
    sqlite3_vfs vfs; // first: SQLite knows this part
    sqlite3_vfs* under;
};

int OpenToRead(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    sqlite3_vfs* const under = reinterpret_cast<ReadOnlyVfs*>(vfs)->under;
    constexpr int kWrites = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_EXCLUSIVE |
                            SQLITE_OPEN_DELETEONCLOSE;
    return under->xOpen(under, name, file, (flags & ~kWrites) | SQLITE_OPEN_READONLY, outFlags);
}

// True while a read-only connection executes.
thread_local bool isReadingOnly = false;

class ReadingOnly {
public:
    explicit ReadingOnly(bool readsOnly) : m_before(std::exchange(isReadingOnly, readsOnly)) {}
    ~ReadingOnly() { isReadingOnly = m_before; }
    ReadingOnly(const ReadingOnly&) = delete;
    ReadingOnly& operator=(const ReadingOnly&) = delete;
    ReadingOnly(ReadingOnly&&) = delete;
    ReadingOnly& operator=(ReadingOnly&&) = delete;

private:
    bool m_before;
};

// As root, SQLite gives every log and index that it opens the owner of the database. This would
// change the status time of the file, even if its owner stays the same.
int ChangeOwner(int fd, uid_t owner, gid_t group) {
    return isReadingOnly ? 0 : fchown(fd, owner, group);
}

int ChangeMode(int fd, mode_t mode) {
    return isReadingOnly ? 0 : fchmod(fd, mode);
}

int RefuseToDelete(sqlite3_vfs* /*vfs*/, const char* /*name*/, int /*syncFolder*/) {
    return SQLITE_READONLY;
}

// Registers a read-only layer in front of the one named `under` (null: the default).
const char* ReadOnlyVfsBefore(const char* under, const char* name) {
    auto* const layer = new ReadOnlyVfs{}; // SQLite uses it until the process ends
    layer->under = sqlite3_vfs_find(under);
    layer->vfs = *layer->under;
    layer->vfs.pNext = nullptr;
    layer->vfs.zName = name;
    layer->vfs.xOpen = OpenToRead;
    layer->vfs.xDelete = RefuseToDelete;
    sqlite3_vfs_register(&layer->vfs, 0);
    // These apply to the whole process, whatever layer a connection uses.
    layer->under->xSetSystemCall(layer->under, "fchown",
                                 reinterpret_cast<sqlite3_syscall_ptr>(ChangeOwner));
    layer->under->xSetSystemCall(layer->under, "fchmod",
                                 reinterpret_cast<sqlite3_syscall_ptr>(ChangeMode));
    return name;
}

// Applies to the whole process, whatever layer a connection uses.
void MapWithSpaceOnly() {
    [[maybe_unused]] static const int set = [] {
        sqlite3_vfs* const usual = sqlite3_vfs_find(nullptr);
        return usual->xSetSystemCall(usual, "mmap",
                                     reinterpret_cast<sqlite3_syscall_ptr>(MapWithSpace));
    }();
}

const char* VfsFor(SqliteReadMode how) {
    static const char* const usual = ReadOnlyVfsBefore(nullptr, "kestora-read");
    static const char* const alone = ReadOnlyVfsBefore("unix-none", "kestora-read-alone");
    return how == SqliteReadMode::Alone ? alone : usual;
}

std::string UriOf(const std::string& path, SqliteReadMode how) {
    std::string uri = "file:";
    for (const char c : path) {
        const bool isPlain = std::strchr("%?#", c) == nullptr;
        uri += isPlain ? std::string(1, c)
                       : Format("%%%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
    switch (how) {
    case SqliteReadMode::Immutable:
        return uri + "?immutable=1";
    case SqliteReadMode::Shared:
        return uri + "?mode=ro&readonly_shm=1";
    case SqliteReadMode::Alone:
        return uri + "?mode=ro";
    }
    return uri;
}

// Returns true for the extended error code of a database that can't be used at all, in contrast to
// a failure of one statement.
bool IsUnusable(int code) {
    constexpr int kPrimary = 0xff;
    switch (code & kPrimary) {
    case SQLITE_CANTOPEN:
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_PERM:
    case SQLITE_READONLY:
        return true;
    default:
        return false;
    }
}

} // namespace

// The rows added and removed since the last transaction ended. Triggers count each row here, in
// memory: a table that is written for each row would make a removal a third slower.
struct SqliteDatabase::Attribution {
    struct Changes {
        long added = 0;
        long removed = 0;
    };
    using CameraDay = std::pair<long, long>;
    struct IdRange {
        long first = 0;
        long last = 0;
    };

    // The implementation of the SQL function count_for_run(table, camera, day, added, removed, id).
    static void Count(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
        auto& attribution = *static_cast<Attribution*>(sqlite3_user_data(context));
        try {
            const auto table = static_cast<std::size_t>(sqlite3_value_int64(values[0]));
            Changes& changes = attribution.changes.at(
                table)[{sqlite3_value_int64(values[1]), sqlite3_value_int64(values[2])}];
            changes.added += sqlite3_value_int64(values[3]);
            changes.removed += sqlite3_value_int64(values[4]);
            if (sqlite3_value_int64(values[3]) > 0) {
                AddId(attribution.added.at(table), sqlite3_value_int64(values[5]));
            }
        } catch (const std::exception& error) {
            sqlite3_result_error(context, error.what(), -1);
        }
    }

    static void AddId(std::vector<IdRange>& ranges, long id) {
        if (!ranges.empty() && ranges.back().last == id - 1) {
            ranges.back().last = id;
        } else {
            ranges.push_back({id, id});
        }
    }

    [[nodiscard]] std::string CountsSql() const {
        std::string sql;
        long removed = 0;
        for (std::size_t index = 0; index < tables.size(); ++index) {
            if (!changes[index].empty()) {
                sql += RunCountsSql(index) + AddedSql(index) +
                       (tables[index].isAnnounced ? RunDaysSql(index) : "");
            }
            for (const auto& [cameraDay, changed] : changes[index]) {
                removed += changed.removed;
            }
        }
        return sql + (removed > 0 ? NoteRemovalAgeSql(run.number, ReadMoment()) : "");
    }

    [[nodiscard]] std::string RunCountsSql(std::size_t index) const {
        std::map<long, Changes> cameras;
        for (const auto& [cameraDay, changed] : changes[index]) {
            cameras[cameraDay.first].added += changed.added;
            cameras[cameraDay.first].removed += changed.removed;
        }
        std::string rows;
        for (const auto& [camera, changed] : cameras) {
            rows += (rows.empty() ? "" : ", ") +
                    Format("(%ld, %ld, '%s', %ld, %ld, %ld)", run.number, run.token,
                           tables[index].name.c_str(), camera, changed.added, changed.removed);
        }
        return "INSERT INTO run_count (run, token, kind, camera_id, added, removed) VALUES " +
               rows + " " + kAddRunCountsSql;
    }

    [[nodiscard]] std::string AddedSql(std::size_t index) const {
        std::string rows;
        for (const IdRange& range : added[index]) {
            rows += (rows.empty() ? "" : ", ") + Format("(%ld, '%s', %ld, %ld)", run.number,
                                                        tables[index].name.c_str(), range.first,
                                                        range.last);
        }
        return rows.empty()
                   ? rows
                   : "INSERT INTO added (run, kind, first_id, last_id) VALUES " + rows + ";";
    }

    [[nodiscard]] std::string RunDaysSql(std::size_t index) const {
        std::string rows;
        for (const auto& [cameraDay, changed] : changes[index]) {
            rows += (rows.empty() ? "" : ", ") + Format("(%ld, %ld, %ld, %ld, %ld)", run.number,
                                                        cameraDay.first, cameraDay.second,
                                                        changed.added, changed.removed);
        }
        return "INSERT INTO run_day (run, camera_id, day, added, removed) VALUES " + rows +
               " ON CONFLICT (run, camera_id, day) DO UPDATE SET added = added + excluded.added, "
               "removed = removed + excluded.removed;" +
               ForgetDaysSql(run.number);
    }

    void Clear() {
        for (auto& ofTable : changes) {
            ofTable.clear();
        }
        for (auto& ofTable : added) {
            ofTable.clear();
        }
    }

    RunIdentity run;
    std::vector<MediaTable> tables;
    std::vector<std::map<CameraDay, Changes>> changes; // of each table
    std::vector<std::vector<IdRange>> added;           // of each table
};

// The time at which the write lock was last released.
struct SqliteDatabase::Unlocked {
    using Clock = std::chrono::steady_clock;

    Clock::time_point since;
};

SqliteDatabase::~SqliteDatabase() = default;
SqliteDatabase::SqliteDatabase(SqliteDatabase&& other) noexcept = default;
SqliteDatabase& SqliteDatabase::operator=(SqliteDatabase&& other) noexcept = default;

SqliteDatabase SqliteDatabase::Open(const std::string& path, int lockTimeoutMs) {
    SqliteDatabase database(path, path, SQLITE_OPEN_READWRITE, nullptr, lockTimeoutMs);
    database.ConfigureToWrite();
    return database;
}

SqliteDatabase SqliteDatabase::Create(const std::string& path, int lockTimeoutMs) {
    SqliteDatabase database(path, path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr,
                            lockTimeoutMs);
    database.ConfigureToWrite();
    return database;
}

SqliteDatabase SqliteDatabase::OpenReadOnly(const std::string& path, SqliteReadMode how,
                                            int lockTimeoutMs) {
    SqliteDatabase database(path, UriOf(path, how), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                            VfsFor(how), lockTimeoutMs);
    database.m_isReadOnly = true;
    const ReadingOnly readingOnly(true);
    database.RunPlain("PRAGMA query_only = ON");
    database.RunPlain("PRAGMA temp_store = MEMORY");
    if (how == SqliteReadMode::Alone) {
        database.RunPlain("PRAGMA locking_mode = EXCLUSIVE"); // the log's index in this process
    }
    return database;
}

SqliteDatabase::SqliteDatabase(const std::string& path, const std::string& target, int flags,
                               const char* vfs, int lockTimeoutMs)
    : m_path(path), m_name("database " + path), m_lockTimeoutMs(lockTimeoutMs) {
    MapWithSpaceOnly();
    RequireRegularFiles(path);
    sqlite3* handle = nullptr;
    const int error = sqlite3_open_v2(target.c_str(), &handle,
                                      flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, vfs);
    m_handle.reset(handle);
    if (error != SQLITE_OK) {
        Fail("open it");
    }
    sqlite3_busy_timeout(m_handle.get(), m_lockTimeoutMs);
}

void SqliteDatabase::ConfigureToWrite() {
    RunPlain("PRAGMA journal_mode = WAL");
    RunPlain("PRAGMA synchronous = NORMAL");
    RunPlain("PRAGMA foreign_keys = ON");
    m_unlocked = std::make_unique<Unlocked>();
    sqlite3_wal_hook(
        m_handle.get(),
        [](void* unlocked, sqlite3* handle, const char* database, int pages) {
            static_cast<Unlocked*>(unlocked)->since = Unlocked::Clock::now();
            if (pages >= kPagesBetweenCheckpoints) { // other processes can write during it
                sqlite3_wal_checkpoint_v2(handle, database, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                          nullptr);
            }
            return SQLITE_OK; // the commit is done, with or without a checkpoint
        },
        m_unlocked.get());
}

// SQLite doesn't show which processes wait for the write lock, but each of them has the database
// open. The removal of 200,000 rows has half a dozen pauses, which take 0.15 s.
void SqliteDatabase::LetOthersWrite() {
    if (m_unlocked && MayBeOpenElsewhere()) {
        std::this_thread::sleep_until(m_unlocked->since + kTurnOfOthers);
    }
}

// In WAL mode each connection holds a shared lock on the database from its first statement until it
// is closed. F_GETLK shows only locks of other processes, which is enough: a process has one
// connection to a database.
bool SqliteDatabase::MayBeOpenElsewhere() {
    if (!m_locks.IsOpen()) {
        m_locks = UniqueFd(
            Uninterrupted([&] { return open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    }
    struct flock any = {};
    any.l_type = F_WRLCK;
    any.l_whence = SEEK_SET;
    any.l_start = kLockPageAt;
    any.l_len = kLockPageBytes;
    const bool isKnown = fcntl(m_locks.Get(), F_GETLK, &any) == 0;
    return !isKnown || any.l_type != F_UNLCK;
}

DBResult_tag SqliteDatabase::Execute(const std::string& sql, const ExecuteOptions& options) {
    const ReadingOnly readingOnly(m_isReadOnly);
    sqlite3_busy_timeout(m_handle.get(), options.waitForLock ? m_lockTimeoutMs : 0);
    DBResult_tag rows;
    const char* rest = sql.c_str();
    Statement statement = PrepareNext(rest);
    if (options.transaction) {
        const bool reads = options.readOnly || m_isReadOnly || OnlyReads(statement, rest);
        RunPlain(reads ? "BEGIN" : "BEGIN IMMEDIATE");
    }
    try {
        for (; statement; statement = PrepareNext(rest)) {
            Run(statement, options.readOnly || m_isReadOnly, rows);
        }
        WriteCounts();
        if (options.transaction) {
            RunPlain("COMMIT");
        }
        if (rows.RowCount() > kManyRows) { // the pages of a scan are not needed again
            sqlite3_db_release_memory(m_handle.get());
        }
    } catch (const std::exception&) {
        statement.reset();
        if (m_attribution) {
            m_attribution->Clear();
        }
        if (options.transaction) {
            sqlite3_exec(m_handle.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
        throw;
    }
    return rows;
}

// JSON is parsed in a tenth of the time that SQL takes for the same ids.
std::string SqliteDialect::HasIdOf(const std::string& ids) const {
    return "id IN (SELECT value FROM json_each('[" + ids + "]'))";
}

// The join takes the rows in the order of the list. For IN, SQLite first sorts the list into a
// temporary table, which doubles the time.
std::string SqliteDialect::RowsWithIds(const std::string& table, const std::string& ids) const {
    return "json_each('[" + ids + "]') AS listed CROSS JOIN " + table + " WHERE " + table +
           ".id = listed.value";
}

// sqlite_sequence has the highest id that AUTOINCREMENT gave; ordinary statements may write to it.
std::string SqliteDialect::RaiseIdsSql(const std::string& table, long highest) const {
    return Format("INSERT INTO sqlite_sequence (name, seq) SELECT '%s', 0 WHERE NOT EXISTS "
                  "(SELECT 1 FROM sqlite_sequence WHERE name = '%s');"
                  "UPDATE sqlite_sequence SET seq = %ld WHERE name = '%s' AND seq < %ld;",
                  table.c_str(), table.c_str(), highest, table.c_str(), highest);
}

long SqliteDialect::SchemaVersion() {
    return Execute("PRAGMA user_version").Long(0, "user_version");
}

void SqliteDialect::ApplySchema(const std::string& sql, long version) {
    Execute(sql + "PRAGMA user_version = " + std::to_string(version) + ";");
}

void SqliteDatabase::AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) {
    m_attribution = std::make_unique<Attribution>();
    m_attribution->run = run;
    m_attribution->tables = tables;
    m_attribution->changes.resize(tables.size());
    m_attribution->added.resize(tables.size());
    constexpr int kArguments = 6;
    if (sqlite3_create_function(m_handle.get(), "count_for_run", kArguments, SQLITE_UTF8,
                                m_attribution.get(), Attribution::Count, nullptr,
                                nullptr) != SQLITE_OK) {
        Fail("add the function count_for_run");
    }
    for (std::size_t index = 0; index < tables.size(); ++index) {
        RunPlain(KeepRemovedTriggerSql(run.number, tables[index], index).c_str());
        RunPlain(NoteAddedTriggerSql(tables[index], index).c_str());
    }
}

void SqliteDatabase::CopyInto(SqliteDatabase& target) {
    SqliteCopy(*this, target).Commit();
}

void SqliteCopy::Finish::operator()(sqlite3_backup* copy) const {
    sqlite3_backup_finish(copy);
}

SqliteCopy::SqliteCopy(SqliteDatabase& source, SqliteDatabase& target)
    : m_target(target), m_attempted("copy " + source.Name() + " into it"),
      m_copy(sqlite3_backup_init(target.m_handle.get(), "main", source.m_handle.get(), "main")) {
    if (!m_copy) {
        m_target.Fail(m_attempted);
    }
    Step(0);
}

void SqliteCopy::Write() {
    if (const int remaining = sqlite3_backup_remaining(m_copy.get()); remaining > 1) {
        Step(remaining - 1);
    }
}

void SqliteCopy::Commit() {
    constexpr int kAllPages = -1;
    Step(kAllPages);
}

void SqliteCopy::Step(int pages) {
    const int outcome = sqlite3_backup_step(m_copy.get(), pages);
    if (outcome != SQLITE_OK && outcome != SQLITE_DONE) {
        sqlite3_backup_finish(m_copy.release()); // gives the target the error of the step
        m_target.Fail(m_attempted);
    }
}

void SqliteDatabase::WriteCounts() {
    if (!m_attribution) {
        return;
    }
    RunPlain(m_attribution->CountsSql().c_str());
    m_attribution->Clear();
}

// Prepares the first statement of `sql` and moves `sql` behind it. Returns null at the end.
SqliteDatabase::Statement SqliteDatabase::PrepareNext(const char*& sql) {
    sqlite3_stmt* statement = nullptr;
    while (statement == nullptr && *sql != '\0') {
        const char* const text = sql;
        // No length is given: with one, SQLite would copy the rest of the text for every statement.
        if (sqlite3_prepare_v2(m_handle.get(), text, -1, &statement, &sql) != SQLITE_OK) {
            Fail("prepare " + Excerpt(text));
        }
    }
    return Statement(statement);
}

// A text that only reads takes no write lock, so that a long read never blocks the recording. A
// text that writes must take the lock before it reads: a transaction that has already read can't
// wait for another writer, and fails at once (SQLITE_BUSY, or SQLITE_BUSY_SNAPSHOT after that
// writer's commit).
bool SqliteDatabase::OnlyReads(const Statement& first, const char* rest) {
    const auto reads = [](sqlite3_stmt* statement) {
        return sqlite3_stmt_readonly(statement) != 0;
    };
    if (first && !reads(first.get())) {
        return false;
    }
    try {
        while (const Statement statement = PrepareNext(rest)) {
            if (!reads(statement.get())) {
                return false;
            }
        }
    } catch (const Error&) {
        return false; // the statement fails again when it is executed
    }
    return true;
}

void SqliteDatabase::Run(const Statement& statement, bool readOnly, DBResult_tag& rows) {
    if (readOnly && sqlite3_stmt_readonly(statement.get()) == 0) {
        throw Error(m_name +
                    ": refused, as it would write: " + Excerpt(sqlite3_sql(statement.get())));
    }
    int outcome = SQLITE_OK;
    try {
        if (sqlite3_column_count(statement.get()) > 0) {
            rows.TakeColumns(ColumnNames(statement.get()));
        }
        while ((outcome = sqlite3_step(statement.get())) == SQLITE_ROW) {
            AppendRow(statement.get(), rows);
        }
    } catch (const Error& error) {
        throw Error(m_name + ": can't take the rows of " + Excerpt(sqlite3_sql(statement.get())) +
                    ": " + error.what());
    }
    if (outcome != SQLITE_DONE) {
        Fail("run " + Excerpt(sqlite3_sql(statement.get())));
    }
}

void SqliteDatabase::RunPlain(const char* statement) {
    if (sqlite3_exec(m_handle.get(), statement, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail("run " + Excerpt(statement));
    }
}

void SqliteDatabase::Fail(const std::string& attempted) {
    const int code = sqlite3_extended_errcode(m_handle.get());
    const std::string text = m_name + ": can't " + attempted + ": " +
                             sqlite3_errmsg(m_handle.get()) + " (code " + std::to_string(code) +
                             ")";
    const int primary = code & 0xFF;
    if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
        throw DamagedDatabase(text);
    }
    if (IsUnusable(code)) {
        throw DatabaseUnusable(text);
    }
    throw Error(text);
}

void SqliteDatabase::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

void SqliteDatabase::Close::operator()(sqlite3* handle) const {
    sqlite3_close(handle);
}

} // namespace recorder
