#include "recorder/container/librarycontainer.h"
#include "recorder/module/module.h"
#include "recorder/support/error.h"
#include "tools/krctl/doctor/checks.h"

#include <array>

namespace {

constexpr const char* kSubject = "modules";

struct NeededPart {
    void (*demand)();    // throws Error when it can't be used
    const char* without; // what a run does then
};

// The others are loaded by the checks of databases and broker, where the settings ask for them.
constexpr std::array kNeededParts{
    NeededPart{recorder::RequireContainerLibrary,
               "it would add rows without length and format for recordings out of the ordinary"},
    NeededPart{[] { (void)recorder::ModuleEntry(recorder::kThumbnailsModule); },
               "it would add rows of snapshots without thumbnails"}};

} // namespace

Checks CheckModules() {
    Checks checks;
    for (const NeededPart& part : kNeededParts) {
        try {
            part.demand();
        } catch (const recorder::Error& error) {
            checks.push_back(Problem(
                kSubject, error.what(),
                "install the package again before the next run: " + std::string(part.without) +
                    ", and no later run mends these"));
        }
    }
    if (checks.empty()) {
        checks.push_back(Ok(kSubject, "those that a run may need can be loaded"));
    }
    return checks;
}
