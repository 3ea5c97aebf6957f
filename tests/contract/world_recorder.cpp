// The world of the recorder on SQLite: the files below /var/packages/Kestora.

#include "recorder/database/databases.h"
#include "recorder/database/quote.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqlite.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/process.h"
#include "tests/contract/support/sandbox.h"
#include "tests/contract/world.h"

#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace world {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRoot = "/var/packages/Kestora";
constexpr const char* kFirstDay = "/var/packages/Kestora/first-day";
constexpr const char* kLogAside = "/var/packages/Kestora/var/log-aside";
constexpr int kPatienceMs = 10000;

recorder::SqliteDatabase OwnConnection(KRDB::DB_INSTANCE db) {
    return recorder::SqliteDatabase::Open(recorder::DatabasePath(db), kPatienceMs);
}

void RemoveContent(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        fs::remove_all(entry.path());
    }
}

// Empty databases are made once and copied: every file that SQLite makes costs a flush.
void RenewDatabases() {
    if (!fs::exists(kFirstDay)) {
        fs::create_directories(recorder::kDatabaseDir);
        RemoveContent(recorder::kDatabaseDir);
        recorder::InitDatabases();
        fs::copy(recorder::kDatabaseDir, kFirstDay);
    }
    RemoveContent(recorder::kDatabaseDir);
    fs::copy(kFirstDay, recorder::kDatabaseDir);
}

// The log file is emptied or moved, never removed: this process may have opened it.
void RenewLog() {
    const fs::path folder = fs::path(recorder::kLogFile).parent_path();
    if (fs::exists(kLogAside)) {
        fs::remove(folder);
        fs::rename(kLogAside, folder);
    }
    contract::PutFile(recorder::kLogFile, "");
}

} // namespace

void Renew() {
    contract::DemandSandbox();
    recorder::CloseDatabases();
    fs::create_directories(fs::path(recorder::kSettingsFile).parent_path());
    fs::remove(recorder::kSettingsFile);
    RenewDatabases();
    RenewLog();
    fs::create_directories(ScratchFolder());
    RemoveContent(ScratchFolder());
}

std::string ScratchFolder() {
    return std::string(kRoot) + "/scratch";
}

std::vector<Row> Read(KRDB::DB_INSTANCE db, const std::string& select) {
    const DBResult_tag result = OwnConnection(db).Execute(select, {.readOnly = true});
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
    OwnConnection(db).Execute(sql);
}

void Answer(const std::string& /*select*/, const std::vector<std::string>& /*columns*/,
            const std::vector<Row>& /*rows*/) {}

void AddCamera(const CameraRow& camera) {
    Write(KRDB::DB_SYSTEM,
          "INSERT INTO camera (id, name, ds_id, storage_path, volume_id) VALUES (" +
              std::to_string(camera.id) + ", 'camera', " + std::to_string(camera.dsId) + ", " +
              recorder::Quote(camera.storagePath) + ", " +
              (camera.volumeId ? recorder::Quote(*camera.volumeId) : "NULL") + ");");
}

void Spoil(KRDB::DB_INSTANCE db) {
    recorder::CloseDatabases();
    contract::PutFile(recorder::DatabasePath(db), std::string(8192, '?'));
}

struct ForeignWriter::Process {
    explicit Process(KRDB::DB_INSTANCE db)
        : child([&] {
              recorder::SqliteDatabase database = OwnConnection(db);
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

ForeignWriter::ForeignWriter(KRDB::DB_INSTANCE db) : m_process(std::make_unique<Process>(db)) {}

ForeignWriter::~ForeignWriter() = default;

void ForeignWriter::Finish() {
    m_process->finish.Open();
    m_process->child.Wait();
}

void RefuseRows(KRDB::DB_INSTANCE db, const std::string& table, int camId) {
    for (const auto& [verb, row] : {std::pair{"INSERT", "NEW"}, std::pair{"DELETE", "OLD"}}) {
        Write(db, std::string("CREATE TRIGGER refuse_") + verb + " BEFORE " + verb + " ON " +
                      table + " WHEN " + row + ".camera_id = " + std::to_string(camId) +
                      " BEGIN SELECT RAISE(ABORT, 'refused by the test'); END;");
    }
}

std::vector<std::string> Outbox() {
    std::vector<std::string> words;
    for (const Row& row :
         Read(KRDB::DB_RECORDING, "SELECT topic || ' ' || payload FROM outbox ORDER BY id;")) {
        words.push_back(row.front().value());
    }
    return words;
}

std::vector<std::string> Log() {
    std::istringstream text(contract::ReadFile(recorder::kLogFile));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

void SpoilLog() {
    const fs::path folder = fs::path(recorder::kLogFile).parent_path();
    fs::rename(folder, kLogAside);
    contract::PutFile(folder);
}

void PutSettings(const std::string& toml) {
    contract::PutFile(recorder::kSettingsFile, toml);
}

void LetOthersWriteSettings() {
    fs::permissions(recorder::kSettingsFile, fs::perms::others_write, fs::perm_options::add);
}

void BeforeFork() {
    recorder::CloseDatabases();
}

} // namespace world
