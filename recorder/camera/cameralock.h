// One command at a time changes which cameras there are: what is looked at before a change is still
// so when it is made.

#pragma once

#include "recorder/support/uniquefd.h"

namespace recorder {

// Waits for other commands and keeps them waiting until the result goes, or the process. Throws
// Error when there is nothing to lock: the recorder has no databases yet.
[[nodiscard]] UniqueFd LockCameras();

} // namespace recorder
