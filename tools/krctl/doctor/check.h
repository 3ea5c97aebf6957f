// The checks of krctl doctor, and what they have in common. No check changes anything.

#pragma once

#include "tools/common/user.h"

#include <string>
#include <vector>

enum class Health {
    Ok,
    Warning, // works, but may cause harm or could not be checked
    Problem, // does not work, or causes the loss of rows
};

// The result of one check.
struct Check {
    Health health = Health::Ok;
    std::string subject; // one word
    std::string message;
    std::string remedy; // an imperative sentence with the command to run; may be empty
};

using Checks = std::vector<Check>;

// The groups of checks. They throw recorder::Error when the databases or settings that they need
// can't be used.
[[nodiscard]] Checks CheckSettings();
[[nodiscard]] Checks CheckSettingsUse(); // files and folders that valid settings name
[[nodiscard]] Checks CheckUser();
[[nodiscard]] Checks CheckLog();
[[nodiscard]] Checks CheckDatabases();
[[nodiscard]] Checks CheckModes();
[[nodiscard]] Checks CheckSpace();
[[nodiscard]] Checks CheckModules();
[[nodiscard]] Checks CheckCameras();
[[nodiscard]] Checks CheckVolumes();
[[nodiscard]] Checks CheckMediaFolders();
[[nodiscard]] Checks CheckRun();
[[nodiscard]] Checks CheckBackups();
[[nodiscard]] Checks CheckFindings();
[[nodiscard]] Checks CheckOutbox();
[[nodiscard]] Checks CheckBroker();

struct CheckGroup {
    const char* subject;
    Checks (*check)();
    bool needsSettings;
};

// Results of the first groups on which the other groups depend.
struct Prerequisites {
    bool areSettingsValid = true;
    bool areDatabasesUsable = true;
};

// Runs the checks of the group. Throws nothing, so that a failure of one group does not prevent the
// others: any exception becomes a problem, or a warning if another group has reported the cause.
[[nodiscard]] Checks RunChecks(const CheckGroup& group, const Prerequisites& prerequisites);

[[nodiscard]] Check Ok(const std::string& subject, const std::string& message);
[[nodiscard]] Check Warning(const std::string& subject, const std::string& message,
                            const std::string& remedy);
[[nodiscard]] Check Problem(const std::string& subject, const std::string& message,
                            const std::string& remedy);

// Returns true if this process has all the `access` (R_OK, W_OK, X_OK) to `path`.
[[nodiscard]] bool HasAccess(const std::string& path, int access);
