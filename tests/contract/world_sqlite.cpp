// The databases of the recorder's world on SQLite, one file each.

#include "recorder/database/databases.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqlite.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/process.h"
#include "tests/contract/world.h"
#include "tests/contract/world_engine.h"

#include <filesystem>
#include <stdexcept>

namespace world {

namespace fs = std::filesystem;

namespace {

constexpr const char* kEmptyDatabases = "/var/packages/Kestora/empty-databases";
constexpr int kLockTimeoutMs = 10000;

recorder::SqliteDatabase Connect(KRDB::DB_INSTANCE db) {
    return recorder::SqliteDatabase::Open(recorder::DatabasePath(db), kLockTimeoutMs);
}

} // namespace

// Creates empty databases once and copies them afterwards, because every file that SQLite creates
// costs a flush.
void ResetDatabases() {
    if (fs::exists(kEmptyDatabases)) {
        fs::copy(kEmptyDatabases, recorder::kDatabaseDir);
    } else {
        recorder::InitDatabases();
        fs::copy(recorder::kDatabaseDir, kEmptyDatabases);
    }
}

std::string EngineSettings() {
    return "";
}

std::string NameInLog(KRDB::DB_INSTANCE db) {
    return recorder::DatabasePath(db);
}

std::vector<Row> Read(KRDB::DB_INSTANCE db, const std::string& select) {
    const DBResult_tag result = Connect(db).Execute(select, {.readOnly = true});
    std::vector<Row> rows;
    for (int row = 0; row < result.RowCount(); ++row) {
        rows.emplace_back();
        for (std::size_t column = 0; column < result.columns.size(); ++column) {
            const char* const text = result.Field(row, column);
            rows.back().push_back(text == nullptr ? Field() : Field(text));
        }
    }
    return rows;
}

void Write(KRDB::DB_INSTANCE db, const std::string& sql) {
    Connect(db).Execute(sql);
}

void DamageDatabase(KRDB::DB_INSTANCE db) {
    recorder::CloseDatabases();
    contract::PutFile(recorder::DatabasePath(db), std::string(8192, '?'));
}

struct ConcurrentWriter::Lock {
    explicit Lock(KRDB::DB_INSTANCE db)
        : child([&] {
              recorder::SqliteDatabase database = Connect(db);
              database.Execute("BEGIN IMMEDIATE;", {.transaction = false});
              writing.Open();
              return finish.Await() ? 0 : 1;
          }) {
        if (!writing.Await()) {
            throw std::runtime_error("the other process didn't get the lock");
        }
    }

    contract::Gate writing;
    contract::Gate finish;
    contract::Child child;
};

ConcurrentWriter::ConcurrentWriter(KRDB::DB_INSTANCE db) : m_lock(std::make_unique<Lock>(db)) {}

ConcurrentWriter::~ConcurrentWriter() = default;

// A process that waits for SQLite's lock sleeps between its attempts.
void ConcurrentWriter::AwaitWaiting(const contract::Child& child) const {
    child.AwaitSleep();
}

void ConcurrentWriter::Finish() {
    m_lock->finish.Open();
    m_lock->child.Wait();
}

void RefuseRows(KRDB::DB_INSTANCE db, const std::string& table, int camId) {
    for (const auto& [verb, row] : {std::pair{"INSERT", "NEW"}, std::pair{"DELETE", "OLD"}}) {
        Write(db, std::string("CREATE TRIGGER refuse_") + verb + " BEFORE " + verb + " ON " +
                      table + " WHEN " + row + ".camera_id = " + std::to_string(camId) +
                      " BEGIN SELECT RAISE(ABORT, 'refused by the test'); END;");
    }
}

} // namespace world
