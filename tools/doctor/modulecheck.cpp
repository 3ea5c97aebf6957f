#include "recorder/recording/librarycontainer.h"
#include "recorder/support/error.h"
#include "tools/doctor/checks.h"

namespace {

constexpr const char* kSubject = "modules";

} // namespace

// The other modules are loaded by the checks of databases and broker, where the settings ask for
// them.
Checks CheckModules() {
    try {
        recorder::LoadContainerLibrary();
        return {Ok(kSubject, "recordings out of the ordinary can be read, too")};
    } catch (const recorder::Error& error) {
        return {Problem(kSubject, error.what(),
                        "install the package again before the next run: it would add rows without "
                        "length and format for such recordings, and no later run mends these")};
    }
}
