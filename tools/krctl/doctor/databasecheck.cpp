#include "recorder/database/idmarksfile.h"
#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "tools/krctl/doctor/checks.h"

#include <array>
#include <memory>
#include <string>

#include <unistd.h>

namespace {

using recorder::Database;

constexpr const char* kSubject = "database";
constexpr const char* kRemedyForDamage =
    "restore it from a backup, or move it away, krctl init and krctl run";
constexpr std::array kInstances{KRDB::DB_SYSTEM, KRDB::DB_RECORDING, KRDB::DB_SNAPSHOT};

// Without the word that says what the line is about.
std::string PlainName(const Database& database) {
    const std::string word = "database ";
    const std::string& name = database.Name();
    return name.starts_with(word) ? name.substr(word.size()) : name;
}

Check CheckVersion(Database& database) {
    const long version = database.SchemaVersion();
    const std::string is = PlainName(database) + " has schema version " + std::to_string(version);
    const std::string expected = "; expected " + std::to_string(recorder::kSchemaVersion);
    if (version < recorder::kSchemaVersion) {
        return Problem(kSubject, is + expected, "krctl init");
    }
    if (version > recorder::kSchemaVersion) {
        return Problem(kSubject, is + expected + ": a newer version of krctl made it",
                       "install that version again");
    }
    return Ok(kSubject, is);
}

// Of SQLite's; empty when it is sound.
std::string Damage(Database& database) {
    const DBResult_tag rows = database.Execute("PRAGMA quick_check(1);", {.readOnly = true});
    const std::string answer = rows.RowCount() > 0 ? rows.Field(0, 0) : "no answer";
    return answer == "ok" ? "" : answer;
}

bool IsNothingThere(const std::string& path) {
    return recorder::FilePresence(path) == recorder::Presence::No && !MayUse(path, F_OK);
}

Check CheckFile(const std::string& path, KRDB::DB_INSTANCE instance) {
    if (IsNothingThere(path)) {
        return Problem(kSubject, path + " is not there", "krctl init");
    }
    if (!MayUse(path, R_OK | W_OK)) {
        return Problem(kSubject, path + " may not be read and written by " + UserName(geteuid()),
                       "run as the user that it belongs to, see \"user\"");
    }
    const std::unique_ptr<Database> database = recorder::OpenDatabaseOf(instance);
    const std::string damage = Damage(*database);
    if (!damage.empty()) {
        return Problem(kSubject, path + " is damaged: " + damage, kRemedyForDamage);
    }
    return CheckVersion(*database);
}

// By SQLite's own texts. Other failures, of a full disk or a lock, say nothing about the file.
std::string RemedyFor(const std::string& failure) {
    const bool isDamaged = failure.find("malformed") != std::string::npos ||
                           failure.find("file is not a database") != std::string::npos;
    return isDamaged ? kRemedyForDamage
                     : "correct what the message says: the database may be whole";
}

Check CheckFileOf(KRDB::DB_INSTANCE instance) {
    const std::string path = recorder::DatabasePath(instance);
    try {
        return CheckFile(path, instance);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, error.what(), RemedyFor(error.what()));
    }
}

// Where it is unusable no run starts.
Checks CheckNumbers() {
    try {
        recorder::RequireUsableIdMarks();
        return {};
    } catch (const recorder::Error& error) {
        return {Problem(kSubject, error.what() + std::string("; no run starts before"),
                        "remove it: the next run makes it anew from the databases")};
    }
}

Check CheckServer() {
    try {
        const std::unique_ptr<Database> database = recorder::OpenDatabaseOf(KRDB::DB_SYSTEM);
        return CheckVersion(*database);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, error.what(),
                       std::string("see that the server runs and [database] of ") +
                           recorder::kSettingsFile + " is right");
    }
}

} // namespace

Checks CheckDatabases() {
    Checks checks = CheckNumbers();
    if (recorder::GetSettings().database.postgres) {
        checks.push_back(CheckServer());
        return checks;
    }
    for (const KRDB::DB_INSTANCE instance : kInstances) {
        checks.push_back(CheckFileOf(instance));
    }
    return checks;
}
