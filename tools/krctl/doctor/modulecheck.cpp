#include "recorder/ahead/ahead.h"
#include "recorder/container/librarycontainer.h"
#include "recorder/module/module.h"
#include "recorder/support/error.h"
#include "tools/krctl/doctor/check.h"

#include <array>

namespace {

constexpr const char* kSubject = "modules";

struct NeededModule {
    void (*require)();       // throws Error when it can't be used
    const char* consequence; // what a run does without it
};

// The checks of databases and broker load the other modules if the settings require them.
constexpr std::array kNeededModules{
    NeededModule{
        recorder::RequireContainerLibrary,
        "a run would add rows without duration and format for recordings in unusual containers"},
    NeededModule{[] { (void)recorder::ModuleEntry(recorder::kThumbnailsModule); },
                 "a run would add snapshots without thumbnails"}};

} // namespace

Checks CheckModules() {
    Checks checks;
    for (const NeededModule& module : kNeededModules) {
        try {
            module.require();
        } catch (const recorder::Error& error) {
            checks.push_back(Problem(
                kSubject, error.what(),
                "reinstall the package before the next run: " + std::string(module.consequence) +
                    ", and later runs would not repair these"));
        }
    }
    try {
        recorder::RequireWorkAhead();
    } catch (const recorder::Error& error) {
        checks.push_back(Warning(kSubject, error.what(),
                                 "reinstall the package: a run would wait longer for slow disks"));
    }
    if (checks.empty()) {
        checks.push_back(Ok(kSubject, "all modules that a run may need can be loaded"));
    }
    return checks;
}
