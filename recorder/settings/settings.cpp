#include "recorder/settings/settings.h"

#include "recorder/settings/dsn.h"
#include "recorder/settings/section.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/textfile.h"
#include "recorder/support/trust.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <exception>
#include <variant>

#include <sys/stat.h>

namespace recorder {

namespace {

constexpr off64_t kMaxSettingsBytes = 1024L * 1024;
constexpr int64_t kMaxLogMib = 1024;
constexpr int64_t kMaxOldLogs = 100;
constexpr int64_t kMaxLockTimeoutMs = 10L * 60 * 1000;
constexpr int64_t kMinConnectTimeoutS = 2; // libpq treats smaller values as 2
constexpr int64_t kMaxConnectTimeoutS = 60;
constexpr int64_t kMaxStatementTimeoutMs = 60L * 60 * 1000;
constexpr std::size_t kMaxSchemaName = 63; // bytes; PostgreSQL truncates longer names
constexpr int64_t kMaxKeepDays = 36500;
constexpr int64_t kMaxPort = 65535;
constexpr int64_t kMqttPort = 1883;
constexpr int64_t kMqttTlsPort = 8883;
constexpr int64_t kMaxBrokerTimeoutMs = 10L * 60 * 1000;
constexpr int64_t kTimeoutsToPublish = 3; // the default of publish_timeout_ms, in time-outs
constexpr int64_t kMaxPublishTimeoutMs = kTimeoutsToPublish * kMaxBrokerTimeoutMs;
constexpr int64_t kMaxBackupSets = 10000;
constexpr int64_t kMaxHelpers = 64;
constexpr std::size_t kMaxTopicPrefix = 1000; // bytes; a topic has room for 65535

LogSettings ReadLog(Section section) {
    LogSettings log;
    log.maxSizeMib = section.Size("max_size_mib", log.maxSizeMib, 1, kMaxLogMib);
    log.oldFiles = section.Size("old_files", log.oldFiles, 0, kMaxOldLogs);
    section.RefuseOtherKeys();
    return log;
}

bool IsSchemaName(const std::string& name) {
    return name.size() <= kMaxSchemaName && std::islower(name[0]) != 0 &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos &&
           !name.starts_with("pg_");
}

// Keys that apply only to PostgreSQL are unknown keys on SQLite.
std::optional<PostgresSettings> ReadPostgres(Section& section) {
    if (!section.Has("dsn")) {
        return std::nullopt;
    }
    PostgresSettings postgres;
    postgres.dsn = section.Text("dsn", kExpectedDsn, IsSoundDsn).value_or("");
    postgres.schema =
        section
            .Text("schema", "a lower-case letter, then such letters, digits and \"_\"; not pg_",
                  IsSchemaName)
            .value_or(postgres.schema);
    postgres.passwordFile = section.AbsolutePath("password_file");
    postgres.connectTimeoutS = static_cast<int>(section.Integer(
        "connect_timeout_s", postgres.connectTimeoutS, kMinConnectTimeoutS, kMaxConnectTimeoutS));
    postgres.statementTimeoutMs = static_cast<int>(section.Integer(
        "statement_timeout_ms", postgres.statementTimeoutMs, 1, kMaxStatementTimeoutMs));
    return postgres;
}

DatabaseSettings ReadDatabase(Section section) {
    DatabaseSettings database;
    database.lockTimeoutMs = static_cast<int>(
        section.Integer("lock_timeout_ms", database.lockTimeoutMs, 0, kMaxLockTimeoutMs));
    database.postgres = ReadPostgres(section);
    section.RefuseOtherKeys();
    return database;
}

LedgerSettings ReadLedger(Section section) {
    LedgerSettings ledger;
    ledger.keepDays = section.Integer("keep_days", ledger.keepDays, 1, kMaxKeepDays);
    section.RefuseOtherKeys();
    return ledger;
}

bool IsPlainText(const std::string& text) {
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return std::iscntrl(c) != 0; });
}

bool IsHost(const std::string& host) {
    return IsPlainText(host) && host.find_first_of(" /") == std::string::npos;
}

bool IsTopicPrefix(const std::string& prefix) {
    return IsPlainText(prefix) && prefix.size() <= kMaxTopicPrefix &&
           prefix.find_first_of("+#") == std::string::npos && !prefix.starts_with('$') &&
           !prefix.starts_with('/') && !prefix.ends_with('/');
}

// Keys that apply only together with another key are unknown keys without it.
std::optional<BrokerSettings> ReadBroker(Section& section) {
    if (!section.Has("host")) {
        return std::nullopt;
    }
    BrokerSettings broker;
    broker.host = section.Text("host", "the name or address of a host, and nothing else", IsHost)
                      .value_or("");
    broker.tls = section.Flag("tls", broker.tls);
    broker.port = static_cast<int>(
        section.Integer("port", broker.tls ? kMqttTlsPort : kMqttPort, 1, kMaxPort));
    if (broker.tls) {
        broker.caFile = section.AbsolutePath("ca_file");
    }
    broker.user = section.Text("user", "a text of one line", IsPlainText);
    if (section.Has("user")) {
        broker.passwordFile = section.AbsolutePath("password_file");
    }
    broker.clientId = section.Text("client_id", "a text of one line", IsPlainText);
    broker.topicPrefix =
        section
            .Text("topic_prefix",
                  "a topic without \"+\" and \"#\", without \"$\" at its beginning, "
                  "and without \"/\" at its ends",
                  IsTopicPrefix)
            .value_or(broker.topicPrefix);
    broker.timeoutMs =
        static_cast<int>(section.Integer("timeout_ms", broker.timeoutMs, 1, kMaxBrokerTimeoutMs));
    broker.publishTimeoutMs = static_cast<int>(section.Integer(
        "publish_timeout_ms", kTimeoutsToPublish * broker.timeoutMs, 1, kMaxPublishTimeoutMs));
    return broker;
}

NotificationSettings ReadNotifications(Section section) {
    NotificationSettings notifications;
    notifications.broker = ReadBroker(section);
    section.RefuseOtherKeys();
    return notifications;
}

SnapshotSettings ReadSnapshot(Section section) {
    SnapshotSettings snapshot;
    snapshot.folder = section.AbsolutePath("folder").value_or(snapshot.folder);
    section.RefuseOtherKeys();
    return snapshot;
}

BackupSettings ReadBackup(Section section) {
    BackupSettings backup;
    backup.folders = section.AbsolutePaths("folder");
    backup.keep = section.Size("keep", backup.keep, 1, kMaxBackupSets);
    backup.afterRun = section.Flag("after_run", backup.afterRun);
    section.RefuseOtherKeys();
    return backup;
}

AheadSettings ReadAhead(Section section) {
    AheadSettings ahead;
    if (const auto helpers = section.IntegerOrWord("helpers", "auto", 0, kMaxHelpers)) {
        ahead.helpers = static_cast<int>(*helpers);
    }
    section.RefuseOtherKeys();
    return ahead;
}

// The level of the tool's messages, for all processes and for single ones. The recorder's messages
// are always written.
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

// Throws Error if the file is larger than a settings file can be.
std::string ReadSettingsText(const UniqueFd& file) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError(std::string("examine ") + kSettingsFile);
    }
    std::string text;
    if (st.st_size <= kMaxSettingsBytes) {
        text = ReadText(file, kSettingsFile,
                        kMaxSettingsBytes + 1); // the file may grow in the meantime
    }
    if (st.st_size > kMaxSettingsBytes || text.size() > kMaxSettingsBytes) {
        throw Error(Format("%s is too large; expected at most %ld bytes", kSettingsFile,
                           static_cast<long>(kMaxSettingsBytes)));
    }
    return text;
}

// Settings that other users can write are refused. The folders are checked even if the file does
// not exist, because a user who can remove the settings can change them.
Settings LoadSettings() {
    const UniqueFd file = OpenTrustedFileIfThere(kSettingsFile);
    return file.IsOpen() ? ParseSettings(ReadSettingsText(file), kSettingsFile) : Settings();
}

// The settings, or the reason why they could not be loaded.
const std::variant<Settings, SettingsError>& LoadedSettings() {
    static const std::variant<Settings, SettingsError> loaded =
        []() -> std::variant<Settings, SettingsError> {
        try {
            return LoadSettings();
        } catch (const std::exception& error) {
            return SettingsError(error.what());
        }
    }();
    return loaded;
}

} // namespace

namespace {

// Reads all settings, so that all problems are noted.
Settings ReadSettings(std::string_view text, SettingsProblems& problems) {
    const SettingsDocument document(text, problems);
    Section root = document.Root();
    Settings settings;
    settings.log = ReadLog(root.Subsection("log"));
    settings.database = ReadDatabase(root.Subsection("database"));
    settings.ledger = ReadLedger(root.Subsection("ledger"));
    settings.notifications = ReadNotifications(root.Subsection("notifications"));
    settings.snapshot = ReadSnapshot(root.Subsection("snapshot"));
    settings.backup = ReadBackup(root.Subsection("backup"));
    settings.ahead = ReadAhead(root.Subsection("ahead"));
    if (root.Has("debug_log")) {
        settings.debugLog = ReadDebugLog(root.Subsection("debug_log"));
    }
    root.RefuseOtherKeys();
    return settings;
}

} // namespace

Settings ParseSettings(std::string_view text, const std::string& fileName) {
    SettingsProblems problems{.fileName = fileName, .list = {}};
    Settings settings = ReadSettings(text, problems);
    if (!problems.list.empty()) {
        throw Error(problems.list.front().text);
    }
    return settings;
}

std::vector<std::string> ProblemsInSettings(std::string_view text, const std::string& fileName) {
    SettingsProblems problems{.fileName = fileName, .list = {}};
    (void)ReadSettings(text, problems);
    std::stable_sort(problems.list.begin(), problems.list.end(),
                     [](const auto& a, const auto& b) { return a.line < b.line; });
    std::vector<std::string> texts;
    texts.reserve(problems.list.size());
    for (SettingsProblems::Problem& problem : problems.list) {
        texts.push_back(std::move(problem.text));
    }
    return texts;
}

std::vector<std::string> ProblemsInSettingsFile() {
    try {
        const UniqueFd file = OpenTrustedFileIfThere(kSettingsFile);
        return file.IsOpen() ? ProblemsInSettings(ReadSettingsText(file), kSettingsFile)
                             : std::vector<std::string>();
    } catch (const Error& error) {
        return {error.what()};
    }
}

const Settings& GetSettings() {
    if (const auto* const error = std::get_if<SettingsError>(&LoadedSettings())) {
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
