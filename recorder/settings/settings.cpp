#include "recorder/settings/settings.h"

#include "recorder/settings/section.h"
#include "recorder/support/error.h"
#include "recorder/support/textfile.h"

#include <climits>
#include <exception>
#include <variant>

namespace recorder {

namespace {

constexpr int64_t kMaxLogMib = 1024;
constexpr int64_t kMaxOldLogs = 100;
constexpr int64_t kMaxLockTimeoutMs = 10L * 60 * 1000;

LogSettings ReadLog(Section section) {
    LogSettings log;
    log.maxSizeMib = section.Size("max_size_mib", log.maxSizeMib, 1, kMaxLogMib);
    log.oldFiles = section.Size("old_files", log.oldFiles, 0, kMaxOldLogs);
    section.RefuseOtherKeys();
    return log;
}

DatabaseSettings ReadDatabase(Section section) {
    DatabaseSettings database;
    database.lockTimeoutMs = static_cast<int>(
        section.Integer("lock_timeout_ms", database.lockTimeoutMs, 0, kMaxLockTimeoutMs));
    section.RefuseOtherKeys();
    return database;
}

SnapshotSettings ReadSnapshot(Section section) {
    SnapshotSettings snapshot;
    snapshot.folder = section.AbsolutePath("folder", snapshot.folder);
    section.RefuseOtherKeys();
    return snapshot;
}

// The level of the tool's own messages, and processes with a level of their own. The recorder's are
// written in any case.
DbgLogCfg ReadDebugLog(Section section) {
    constexpr int kMaxLevel = LOG_LEVEL_TRACE;
    DbgLogCfg debugLog;
    debugLog.categLevel.at(LOG_CATEG_REINDEX) =
        static_cast<int>(section.Integer(Enum2String(LOG_CATEG_REINDEX), 0, 0, kMaxLevel));
    for (Section& process : section.Sections("processes")) {
        const auto pid = static_cast<pid_t>(process.RequiredInteger("pid", 1, INT_MAX));
        const auto level = static_cast<int>(process.RequiredInteger("level", 0, kMaxLevel));
        process.RefuseOtherKeys();
        debugLog.pidLevels.emplace_back(pid, level);
    }
    section.RefuseOtherKeys();
    return debugLog;
}

// The settings, or why there are none.
const std::variant<Settings, Error>& LoadedSettings() {
    static const std::variant<Settings, Error> loaded = []() -> std::variant<Settings, Error> {
        try {
            const std::optional<std::string> text = ReadTextFileIfThere(kSettingsFile);
            return text ? ParseSettings(*text, kSettingsFile) : Settings();
        } catch (const std::exception& error) {
            return Error(error.what());
        }
    }();
    return loaded;
}

} // namespace

Settings ParseSettings(std::string_view text, const std::string& fileName) {
    const SettingsDocument document(text, fileName);
    Section root = document.Root();
    Settings settings;
    settings.log = ReadLog(root.Subsection("log"));
    settings.database = ReadDatabase(root.Subsection("database"));
    settings.snapshot = ReadSnapshot(root.Subsection("snapshot"));
    if (root.Has("debug_log")) {
        settings.debugLog = ReadDebugLog(root.Subsection("debug_log"));
    }
    root.RefuseOtherKeys();
    return settings;
}

const Settings& GetSettings() {
    if (const auto* const error = std::get_if<Error>(&LoadedSettings())) {
        throw *error;
    }
    return std::get<Settings>(LoadedSettings());
}

const Settings& SettingsOrDefaults() noexcept {
    static const Settings defaults;
    const auto* const settings = std::get_if<Settings>(&LoadedSettings());
    return settings != nullptr ? *settings : defaults;
}

} // namespace recorder
