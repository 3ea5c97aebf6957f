// The recorder's settings, from etc/kestora.toml.

#pragma once

#include "platform/logging.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

// The reason why there are no settings.
class SettingsError : public Error {
public:
    using Error::Error;
};

struct LogSettings {
    std::size_t maxSizeMib = 10; // the log file is rotated above this size
    std::size_t oldFiles = 5;    // number of rotated files that are kept
};

// The connection to PostgreSQL, if the databases are on a server.
struct PostgresSettings {
    std::string dsn;                // postgresql://..., without a password
    std::string schema = "kestora"; // this recorder's schema
    std::optional<std::string> passwordFile;
    int connectTimeoutS = 5;         // for each host of the dsn
    int statementTimeoutMs = 300000; // for each text of statements
    int silenceMs = 10000; // further wait before a silent server counts as failed; no setting
};

struct DatabaseSettings {
    int lockTimeoutMs = 10000;                // longest wait for another writer
    std::optional<PostgresSettings> postgres; // nothing: SQLite
};

struct LedgerSettings {
    long keepDays = 90; // how long a removed row can be restored
};

// The broker to which messages for the rest of the package are published.
struct BrokerSettings {
    std::string host;
    int port = 0;
    bool tls = false;
    std::optional<std::string> caFile; // trusted authorities; nothing: the system's
    std::optional<std::string> user;
    std::optional<std::string> passwordFile;
    std::optional<std::string> clientId; // nothing: the broker chooses one
    std::string topicPrefix = "kestora";
    int timeoutMs = 5000;         // for connecting, and for each acknowledgement
    int publishTimeoutMs = 15000; // for all messages that one run publishes
};

struct NotificationSettings {
    std::optional<BrokerSettings> broker; // nothing: messages are not published
};

struct SnapshotSettings {
    std::string folder = kDefaultSnapshotDir; // absolute, without a trailing "/"
};

struct BackupSettings {
    std::vector<std::string> folders; // absolute; where backup sets are stored
    std::size_t keep = 7;             // how many sets stay in each folder
    bool afterRun = false;            // take a backup after each run that changed rows
};

// Helpers that work ahead of the tool (ahead/ahead.h).
struct AheadSettings {
    // How many files they prepare at the same time, from the first file on; 0: none. Nothing
    // ("auto"): as many as pay off, where the tool is found to wait.
    std::optional<int> helpers;
};

struct Settings {
    LogSettings log;
    DatabaseSettings database;
    LedgerSettings ledger;
    NotificationSettings notifications;
    SnapshotSettings snapshot;
    BackupSettings backup;
    AheadSettings ahead;
    std::optional<DbgLogCfg> debugLog;
};

// Reads settings from the text of a settings file; `fileName` is for messages. Throws Error that
// names the file, the line, the key and what was expected. Unknown keys are refused, because a
// misspelt key would otherwise be ignored silently.
[[nodiscard]] Settings ParseSettings(std::string_view text, const std::string& fileName);

// Like ParseSettings, but returns all problems, in the order of their lines. After text that is not
// TOML no further problem can be found.
[[nodiscard]] std::vector<std::string> ProblemsInSettings(std::string_view text,
                                                          const std::string& fileName);

// The problems of the settings file, also that it can't be read or is not trusted. Empty if it does
// not exist.
[[nodiscard]] std::vector<std::string> ProblemsInSettingsFile();

// The settings in force, read once in each process. The defaults apply if no entry has the file's
// name; a dangling link is an entry. Throws SettingsError, on every call, if the file can't be
// read, is not a regular file, is larger than 1 MiB, is invalid, or could have been written by
// users other than root and the user of this process (trust.h).
[[nodiscard]] const Settings& GetSettings();

// Like GetSettings, but returns the defaults if the settings are invalid. For the log, which is
// needed to report that.
[[nodiscard]] const Settings& SettingsOrDefaults() noexcept;

} // namespace recorder
