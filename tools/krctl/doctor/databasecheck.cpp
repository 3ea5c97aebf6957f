#include "recorder/database/idmarks.h"
#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "tools/krctl/doctor/check.h"

#include <array>
#include <memory>
#include <string>

#include <unistd.h>

namespace {

using recorder::Database;

constexpr const char* kSubject = "database";
constexpr const char* kRemedyForDamage =
    "restore it from a backup, or move it away and run krctl init and krctl run";
constexpr std::array kInstances{KRDB::DB_SYSTEM, KRDB::DB_RECORDING, KRDB::DB_SNAPSHOT};

// Returns the database's name without the prefix "database ", which the subject already says.
std::string ShortName(const Database& database) {
    const std::string prefix = "database ";
    const std::string& name = database.Name();
    return name.starts_with(prefix) ? name.substr(prefix.size()) : name;
}

Check CheckVersion(Database& database) {
    const long version = database.SchemaVersion();
    const std::string found =
        ShortName(database) + " has schema version " + std::to_string(version);
    const std::string expected = "; expected " + std::to_string(recorder::kSchemaVersion);
    if (version < recorder::kSchemaVersion) {
        return Problem(kSubject, found + expected, "run krctl init");
    }
    if (version > recorder::kSchemaVersion) {
        return Problem(kSubject, found + expected + ": it was written by a newer version of krctl",
                       "install that version of the package");
    }
    return Ok(kSubject, found);
}

// Returns what SQLite's quick_check reports first; empty if that is nothing.
std::string FirstReport(Database& database) {
    const DBResult_tag rows = database.Execute("PRAGMA quick_check(1);", {.readOnly = true});
    const std::string answer =
        rows.RowCount() > 0 ? rows.Field(0, 0) : "no result from quick_check";
    return answer == "ok" ? "" : answer;
}

// Returns the damage; empty if the database is sound. SQLite also reports a page that it could not
// read, but damage is reported each time. Throws Error if that is unknown.
std::string Damage(Database& database) {
    std::string damage = FirstReport(database);
    if (!damage.empty() && FirstReport(database) != damage) {
        throw recorder::Error("can't check " + database.Name() +
                              ": a page could not be read once: " + damage);
    }
    return damage;
}

bool IsMissing(const std::string& path) {
    return recorder::FilePresence(path) == recorder::Presence::No && !HasAccess(path, F_OK);
}

Check CheckFile(const std::string& path, KRDB::DB_INSTANCE instance) {
    if (IsMissing(path)) {
        return Problem(kSubject, path + " does not exist", "run krctl init");
    }
    if (!HasAccess(path, R_OK | W_OK)) {
        return Problem(kSubject, path + " can't be read and written by " + UserName(geteuid()),
                       "run as its owner, see \"user\"");
    }
    const std::unique_ptr<Database> database = recorder::OpenDatabaseOf(instance);
    const std::string damage = Damage(*database);
    if (!damage.empty()) {
        return Problem(kSubject, path + " is damaged: " + damage, kRemedyForDamage);
    }
    return CheckVersion(*database);
}

// Recognises damage by SQLite's messages. Other failures, such as a full disk or a lock, do not
// mean that the file is damaged.
std::string RemedyFor(const std::string& failure) {
    const bool isDamaged = failure.find("malformed") != std::string::npos ||
                           failure.find("file is not a database") != std::string::npos;
    return isDamaged ? kRemedyForDamage
                     : "correct the cause that the message names: the database may be undamaged";
}

Check CheckFileOf(KRDB::DB_INSTANCE instance) {
    const std::string path = recorder::DatabasePath(instance);
    try {
        return CheckFile(path, instance);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, error.what(), RemedyFor(error.what()));
    }
}

// Without usable id marks no run starts.
Checks CheckIdMarks() {
    try {
        recorder::RequireUsableIdMarks();
        return {};
    } catch (const recorder::Error& error) {
        return {Problem(kSubject, error.what() + std::string(", so no run can start"),
                        "remove it: the next run recreates it from the databases")};
    }
}

Check CheckServer() {
    try {
        const std::unique_ptr<Database> database = recorder::OpenDatabaseOf(KRDB::DB_SYSTEM);
        return CheckVersion(*database);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, error.what(),
                       std::string("start the server, or correct [database] in ") +
                           recorder::kSettingsFile);
    }
}

} // namespace

Checks CheckDatabases() {
    Checks checks = CheckIdMarks();
    if (recorder::GetSettings().database.postgres) {
        checks.push_back(CheckServer());
        return checks;
    }
    for (const KRDB::DB_INSTANCE instance : kInstances) {
        checks.push_back(CheckFileOf(instance));
    }
    return checks;
}
