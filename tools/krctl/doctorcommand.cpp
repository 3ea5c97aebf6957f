#include "tools/krctl/commands.h"

#include "recorder/support/format.h"
#include "tools/common/exitstatus.h"
#include "tools/common/json.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/doctor/check.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace {

constexpr std::array kGroups{
    CheckGroup{"settings", CheckSettings, false},
    CheckGroup{"user", CheckUser, false},
    CheckGroup{"log", CheckLog, false},
    CheckGroup{"database", CheckDatabases, true},
    CheckGroup{"modes", CheckModes, false},
    CheckGroup{"space", CheckSpace, false},
    CheckGroup{"modules", CheckModules, false},
    CheckGroup{"camera", CheckCameras, true},
    CheckGroup{"volume", CheckVolumes, true},
    CheckGroup{"media", CheckMediaFolders, true},
    CheckGroup{"run", CheckRun, true},
    CheckGroup{"backup", CheckBackups, true},
    CheckGroup{"findings", CheckFindings, true},
    CheckGroup{"outbox", CheckOutbox, true},
    CheckGroup{"broker", CheckBroker, true},
};

std::size_t Count(const Checks& checks, Health health) {
    return static_cast<std::size_t>(std::count_if(
        checks.begin(), checks.end(), [&](const Check& check) { return check.health == health; }));
}

Checks RunAllChecks() {
    Checks all;
    Prerequisites prerequisites;
    for (const CheckGroup& group : kGroups) {
        const Checks checks = RunChecks(group, prerequisites);
        const bool isSound = Count(checks, Health::Problem) == 0;
        prerequisites.areSettingsValid =
            prerequisites.areSettingsValid && (isSound || group.check != CheckSettings);
        prerequisites.areDatabasesUsable =
            prerequisites.areDatabasesUsable && (isSound || group.check != CheckDatabases);
        all.insert(all.end(), checks.begin(), checks.end());
    }
    return all;
}

const char* NameOf(Health health) {
    switch (health) {
    case Health::Ok:
        return "ok";
    case Health::Warning:
        return "warning";
    case Health::Problem:
        return "problem";
    }
    return "unknown";
}

Colour ColourOf(Health health) {
    switch (health) {
    case Health::Ok:
        return Colour::Green;
    case Health::Warning:
        return Colour::Yellow;
    case Health::Problem:
        break;
    }
    return Colour::Red;
}

void PrintLine(const Check& check) {
    constexpr int kStateWidth = 7;
    const std::string state = recorder::Format("%-*s", kStateWidth, NameOf(check.health));
    std::printf("%s  %-9s  %s", Coloured(ColourOf(check.health), state).c_str(),
                check.subject.c_str(), Printable(check.message).c_str());
    if (!check.remedy.empty()) {
        std::printf(". Remedy: %s", Printable(check.remedy).c_str());
    }
    std::putchar('\n');
}

void PrintAsJson(const Checks& checks) {
    Json list = Json::array();
    for (const Check& check : checks) {
        list.push_back({{"check", check.subject},
                        {"state", NameOf(check.health)},
                        {"message", JsonText(check.message)},
                        {"remedy", check.remedy.empty() ? Json(nullptr) : JsonText(check.remedy)}});
    }
    PrintJson("doctor", {{"problems", Count(checks, Health::Problem)},
                         {"warnings", Count(checks, Health::Warning)},
                         {"checks", list}});
}

Checks RunSettingsChecks() {
    Checks checks = CheckSettings();
    if (Count(checks, Health::Problem) == 0) {
        const Checks further = CheckSettingsUse();
        checks.insert(checks.end(), further.begin(), further.end());
    }
    return checks;
}

void Diagnose(bool ofSettings, bool asJson) {
    const Checks checks = ofSettings ? RunSettingsChecks() : RunAllChecks();
    if (asJson) {
        PrintAsJson(checks);
    } else {
        std::for_each(checks.begin(), checks.end(), PrintLine);
    }
    if (Count(checks, Health::Problem) > 0) {
        throw CLI::RuntimeError(kExitFailed);
    }
}

} // namespace

void AddDoctorCommand(CLI::App& app) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* const doctor =
        app.add_subcommand("doctor", "check this recorder for problems; changes nothing");
    const auto ofSettings = std::make_shared<bool>(false);
    doctor->add_flag("--settings", *ofSettings, "check the settings only, without databases");
    doctor->add_flag("--json", *asJson, "print JSON");
    doctor->callback([ofSettings, asJson] { Diagnose(*ofSettings, *asJson); });
}
