#include "recorder/logging/logtrust.h"

#include "recorder/support/paths.h"
#include "recorder/support/trust.h"

namespace recorder {

void RequireTrustedLog() {
    RequireTrustedUnlinked(kLogFile);
}

} // namespace recorder
