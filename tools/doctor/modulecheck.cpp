#include "recorder/module/module.h"
#include "recorder/support/error.h"
#include "tools/doctor/checks.h"

#include <array>

namespace {

constexpr const char* kSubject = "modules";

struct NeededModule {
    const char* name;
    const char* without; // what a run does then
};

// The others are loaded by the checks of databases and broker, where the settings ask for them.
constexpr std::array kNeededModules{
    NeededModule{recorder::kContainersModule,
                 "it would add rows without length and format for recordings out of the ordinary"},
    NeededModule{recorder::kThumbnailsModule, "it would add rows of snapshots without thumbnails"}};

} // namespace

Checks CheckModules() {
    Checks checks;
    for (const NeededModule& module : kNeededModules) {
        try {
            (void)recorder::ModuleEntry(module.name);
        } catch (const recorder::Error& error) {
            checks.push_back(Problem(
                kSubject, error.what(),
                "install the package again before the next run: " + std::string(module.without) +
                    ", and no later run mends these"));
        }
    }
    if (checks.empty()) {
        checks.push_back(Ok(kSubject, "those that a run may need can be loaded"));
    }
    return checks;
}
