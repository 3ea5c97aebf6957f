// The databases of the recorder's world on PostgreSQL: tables of one schema, on the server that
// tests/postgresql/server.py started.

#include "recorder/database/databases.h"
#include "recorder/database/schema.h"
#include "tests/contract/support/postgresql.h"
#include "tests/contract/support/process.h"
#include "tests/contract/world.h"
#include "tests/contract/world_engine.h"

#include <map>
#include <stdexcept>

#include <gtest/gtest.h>
#include <unistd.h>

namespace world {

namespace {

using contract::PostgresConnection;

constexpr const char* kSchema = "kestora";
constexpr useconds_t kPollUs = 1000;

// True until a test changes more than rows. Emptying the tables is then enough to reset them, and
// much faster than creating them again.
bool tablesAreAsCreated = false;

const std::vector<std::string>& TablesOf(KRDB::DB_INSTANCE db) {
    static const std::map<KRDB::DB_INSTANCE, std::vector<std::string>> tables{
        {KRDB::DB_SYSTEM, {"camera", "emap", "task", "run"}},
        {KRDB::DB_RECORDING, {"event", "alert_event", "recording_count", "outbox", "unannounced"}},
        {KRDB::DB_SNAPSHOT, {"snapshot"}},
    };
    return tables.at(db);
}

PostgresConnection Connect() {
    PostgresConnection connection(contract::ServerDsn());
    connection.Run(std::string("SET search_path TO ") + kSchema + ";");
    return connection;
}

void RecreateTables() {
    Connect().Run(std::string("DROP SCHEMA IF EXISTS ") + kSchema + " CASCADE;");
    recorder::InitDatabases();
    tablesAreAsCreated = true;
}

void EmptyTables() {
    Connect().Run(
        "DO $$ BEGIN EXECUTE (SELECT 'TRUNCATE ' || string_agg(quote_ident(tablename), ', ') || "
        "' RESTART IDENTITY' FROM pg_tables WHERE schemaname = current_schema() "
        "AND tablename <> 'schema_version'); END $$;");
}

bool ChangesRowsOnly(const std::string& sql) {
    return sql.find("CREATE ") == std::string::npos && sql.find("ALTER ") == std::string::npos &&
           sql.find("DROP ") == std::string::npos &&
           sql.find("schema_version") == std::string::npos;
}

// Raises the sequences to the highest ids in use: PostgreSQL's sequences, unlike SQLite's, don't
// count rows that are inserted with an id.
void RaiseSequences(PostgresConnection& connection) {
    for (const char* const table : {"emap", "event", "alert_event", "snapshot", "outbox", "run"}) {
        const std::string name(table);
        connection.Run("SELECT setval('" + name + "_id_seq', greatest(last_value, highest)) FROM " +
                       name + "_id_seq, (SELECT max(id) AS highest FROM " + name +
                       ") AS rows WHERE highest IS NOT NULL;");
    }
}

} // namespace

void ResetDatabases() {
    if (tablesAreAsCreated) {
        EmptyTables();
    } else {
        RecreateTables();
    }
}

std::string EngineSettings() {
    return "dsn = \"" + contract::ServerDsn() + "\"\n";
}

std::string NameInLog(KRDB::DB_INSTANCE /*db*/) {
    return std::string("PostgreSQL schema ") + kSchema;
}

std::vector<Row> Read(KRDB::DB_INSTANCE /*db*/, const std::string& select) {
    return Connect().Run(select);
}

void Write(KRDB::DB_INSTANCE /*db*/, const std::string& sql) {
    PostgresConnection connection = Connect();
    connection.Run(sql);
    if (ChangesRowsOnly(sql)) {
        RaiseSequences(connection);
    } else {
        tablesAreAsCreated = false;
    }
}

// The tables of other instances and the ledger, which all instances share, are not affected.
void DamageDatabase(KRDB::DB_INSTANCE db) {
    recorder::CloseDatabases();
    for (const std::string& table : TablesOf(db)) {
        Write(db, "ALTER TABLE " + table + " RENAME TO damaged_" + table + ";");
    }
}

struct ConcurrentWriter::Lock {
    explicit Lock(KRDB::DB_INSTANCE db) : connection(Connect()) {
        connection.Run("BEGIN;");
        for (const std::string& table : TablesOf(db)) {
            connection.Run("LOCK TABLE " + table + " IN EXCLUSIVE MODE;");
        }
    }

    // Releases the locks now: the server would keep them until it notices the closed connection.
    ~Lock() {
        try {
            connection.Run("ROLLBACK;");
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    Lock(Lock&&) = delete;
    Lock& operator=(Lock&&) = delete;

    PostgresConnection connection;
};

ConcurrentWriter::ConcurrentWriter(KRDB::DB_INSTANCE db) : m_lock(std::make_unique<Lock>(db)) {}

ConcurrentWriter::~ConcurrentWriter() = default;

// Asks the server whether a process waits for the writer.
void ConcurrentWriter::AwaitWaiting(const contract::Child& /*child*/) const {
    const std::string waiters = "SELECT 1 FROM pg_stat_activity WHERE " +
                                std::to_string(m_lock->connection.ServerPid()) +
                                " = ANY (pg_blocking_pids(pid));";
    while (Connect().Run(waiters).empty()) {
        usleep(kPollUs);
    }
}

void ConcurrentWriter::Finish() {
    m_lock->connection.Run("COMMIT;");
}

void RefuseRows(KRDB::DB_INSTANCE db, const std::string& table, int camId) {
    Write(db, "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS "
              "'BEGIN RAISE EXCEPTION ''refused by the test''; END';");
    for (const auto& [verb, row] : {std::pair{"INSERT", "NEW"}, std::pair{"DELETE", "OLD"}}) {
        Write(db, std::string("CREATE TRIGGER refuse_") + verb + " BEFORE " + verb + " ON " +
                      table + " FOR EACH ROW WHEN (" + row +
                      ".camera_id = " + std::to_string(camId) + ") EXECUTE FUNCTION refuse();");
    }
}

} // namespace world
