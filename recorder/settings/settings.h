// The recorder's settings, from etc/kestora.toml.

#pragma once

#include "platform/logging.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace recorder {

// Why there are no settings.
class SettingsError : public Error {
public:
    using Error::Error;
};

struct LogSettings {
    std::size_t maxSizeMib = 10; // the log file is rotated when it has grown beyond
    std::size_t oldFiles = 5;    // how many rotated files are kept
};

// Where the databases are when they are on PostgreSQL.
struct PostgresSettings {
    std::string dsn;                // postgresql://..., without a password
    std::string schema = "kestora"; // this recorder's own
    std::optional<std::string> passwordFile;
    int connectTimeoutS = 5;         // for each host of the dsn
    int statementTimeoutMs = 300000; // for a text of statements
    int silenceMs = 10000;           // beyond that, until the server is taken for dead; no setting
};

struct DatabaseSettings {
    int lockTimeoutMs = 10000;                // how long to wait for another writer
    std::optional<PostgresSettings> postgres; // nothing: SQLite
};

struct LedgerSettings {
    long keepDays = 90; // how long a removed row can be put back
};

// Where words to the rest of the package are published.
struct BrokerSettings {
    std::string host;
    int port = 0;
    bool tls = false;
    std::optional<std::string> caFile; // authorities that are trusted; nothing: the system's
    std::optional<std::string> user;
    std::optional<std::string> passwordFile;
    std::optional<std::string> clientId; // nothing: the broker chooses one
    std::string topicPrefix = "kestora";
    int timeoutMs = 5000;         // for connecting, and for each acknowledgement
    int publishTimeoutMs = 15000; // for everything that one run publishes
};

struct NotificationSettings {
    std::optional<BrokerSettings> broker; // nothing: they aren't published
};

struct SnapshotSettings {
    std::string folder = kDefaultSnapshotDir; // absolute, without a trailing "/"
};

struct Settings {
    LogSettings log;
    DatabaseSettings database;
    LedgerSettings ledger;
    NotificationSettings notifications;
    SnapshotSettings snapshot;
    std::optional<DbgLogCfg> debugLog;
};

// Reads settings from the text of a settings file; `fileName` is for messages. Throws Error that
// names the file, the line, the key and what was expected. Unknown keys are refused: a misspelt
// setting must not be a setting that silently doesn't work.
[[nodiscard]] Settings ParseSettings(std::string_view text, const std::string& fileName);

// The settings in force, read once for the process. Where nothing at all has the file's
// name they are the defaults: a link that leads nowhere is something. Throws SettingsError, on
// every call, when the file can't be read, is no regular file, is larger than 1 MiB, is invalid, or
// could have been written by somebody else than root and the user of this process (trust.h).
[[nodiscard]] const Settings& GetSettings();

// The same for the log, which has to work before anything else does: defaults when the settings are
// invalid.
[[nodiscard]] const Settings& SettingsOrDefaults() noexcept;

} // namespace recorder
