#include "platform/utility.h"
#include "recorder/database/schema.h"
#include "recorder/run/runnumber.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"
#include "recorder/support/privacy.h"
#include "tools/common/exitstatus.h"
#include "tools/common/terminal.h"
#include "tools/common/user.h"
#include "tools/krctl/commands.h"
#include "tools/krctl/newfolders.h"

#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kCommand = "krctl init";

// Throws Error if root would create files in another user's folder, which that user's runs could
// not write.
void RequireOwnFolder() {
    const std::string folder = recorder::ExistingPart(recorder::kDatabaseDir);
    struct stat64 st = {};
    if (stat64(folder.c_str(), &st) != 0) {
        throw recorder::SystemError("examine the folder " + folder);
    }
    if (IsRoot(geteuid()) && !IsRoot(st.st_uid)) {
        throw recorder::Error(folder + " belongs to the user " + UserName(st.st_uid) +
                              ", and files that root creates there could not be written by that "
                              "user's runs; nothing was created. Run " +
                              AsUser(st.st_uid, kCommand));
    }
}

// For a user who can't create the databases because another user owns the folder.
[[noreturn]] void ThrowWithOwner(const recorder::Error& error) {
    struct stat64 st = {};
    const std::string folder = recorder::ExistingPart(recorder::kDatabaseDir);
    const bool isOthers = stat64(folder.c_str(), &st) == 0 && st.st_uid != geteuid();
    const bool mayWrite = faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    if (!isOthers || mayWrite) {
        throw;
    }
    throw recorder::Error(std::string(error.what()) + "; " + folder + " belongs to the user " +
                          UserName(st.st_uid) + ": as root, run " +
                          (IsRoot(st.st_uid) ? kCommand : AsUser(st.st_uid, kCommand)));
}

void PrintDatabase(const recorder::InitialisedDatabase& database) {
    const std::string name = Printable(database.name);
    if (database.versionBefore == 0) {
        std::printf("created the tables of %s\n", name.c_str());
    } else if (database.versionBefore < recorder::kSchemaVersion) {
        std::printf("upgraded %s from schema version %ld to %ld\n", name.c_str(),
                    database.versionBefore, recorder::kSchemaVersion);
    } else {
        std::printf("%s exists, schema version %ld\n", name.c_str(), database.versionBefore);
    }
}

void InitDatabases() {
    try {
        for (const recorder::InitialisedDatabase& database : recorder::InitDatabases()) {
            PrintDatabase(database);
        }
    } catch (const recorder::Error& error) {
        ThrowWithOwner(error);
    }
    for (const std::string& path : recorder::CloseToOthers(recorder::kDatabaseDir)) {
        std::printf("%s: removed the access of other users\n", path.c_str());
    }
    recorder::NoteNumbersOfDatabases();
}

void Init() {
    RequireOwnFolder();
    InitDatabases();
    if (!CreateMediaFolders()) {
        throw CLI::RuntimeError(kExitRefused);
    }
}

} // namespace

void AddInitCommand(CLI::App& app) {
    app.add_subcommand("init", "create or upgrade the recorder's databases and create its folders")
        ->callback(Init);
}
