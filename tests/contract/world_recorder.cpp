// The recorder's world without its databases: the files below /var/packages/Kestora.

#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/sandbox.h"
#include "tests/contract/world.h"
#include "tests/contract/world_engine.h"

#include <filesystem>
#include <sstream>

namespace world {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRoot = "/var/packages/Kestora";
constexpr const char* kLogAside = "/var/packages/Kestora/var/log-aside";
constexpr std::string_view kSection = "[database]\n";

void RemoveContent(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        fs::remove_all(entry.path());
    }
}

// The settings of a test and the settings of the engine, which every process needs.
std::string WithEngine(const std::string& toml) {
    const std::size_t section = toml.find(kSection);
    if (section == std::string::npos) {
        const std::string engine = EngineSettings();
        return engine.empty() ? toml : toml + "\n" + std::string(kSection) + engine;
    }
    return std::string(toml).insert(section + kSection.size(), EngineSettings());
}

// Empties the log file, or moves it back to its place. It is never removed because this process may
// have opened it.
void ResetLog() {
    const fs::path folder = fs::path(recorder::kLogFile).parent_path();
    if (fs::exists(kLogAside)) {
        fs::remove(folder);
        fs::rename(kLogAside, folder);
    }
    contract::PutFile(recorder::kLogFile, "");
}

} // namespace

void Reset() {
    contract::RequireSandbox();
    recorder::CloseDatabases();
    fs::create_directories(fs::path(recorder::kSettingsFile).parent_path());
    fs::create_directories(recorder::kDatabaseDir);
    RemoveContent(recorder::kDatabaseDir);
    fs::remove(recorder::kSettingsFile);
    if (!EngineSettings().empty()) {
        PutSettings("");
    }
    ResetDatabases();
    ResetLog();
    fs::create_directories(ScratchFolder());
    RemoveContent(ScratchFolder());
}

std::string ScratchFolder() {
    return std::string(kRoot) + "/scratch";
}

void AnswerSelect(const std::string& /*select*/, const std::vector<std::string>& /*columns*/,
                  const std::vector<Row>& /*rows*/) {}

void AddCamera(const CameraRow& camera) {
    Write(KRDB::DB_SYSTEM,
          "INSERT INTO camera (id, name, ds_id, storage_path, volume_id) VALUES (" +
              std::to_string(camera.id) + ", 'camera', " + std::to_string(camera.dsId) + ", " +
              recorder::Quote(camera.storagePath) + ", " +
              (camera.volumeId ? recorder::Quote(*camera.volumeId) : "NULL") + ");");
}

std::vector<std::string> Outbox() {
    std::vector<std::string> messages;
    for (const Row& row :
         Read(KRDB::DB_RECORDING, "SELECT topic || ' ' || payload FROM outbox ORDER BY id;")) {
        messages.push_back(row.front().value());
    }
    return messages;
}

std::vector<std::string> Log() {
    std::istringstream text(contract::ReadFile(recorder::kLogFile));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

void MakeLogUnwritable() {
    const fs::path folder = fs::path(recorder::kLogFile).parent_path();
    fs::rename(folder, kLogAside);
    contract::PutFile(folder);
}

void PutSettings(const std::string& toml) {
    contract::PutFile(recorder::kSettingsFile, WithEngine(toml));
}

void LetOthersWriteSettings() {
    fs::permissions(recorder::kSettingsFile, fs::perms::others_write, fs::perm_options::add);
}

} // namespace world
