// One command at a time changes which cameras there are: what is looked at before a change is still
// so when it is made.

#pragma once

#include "recorder/support/uniquefd.h"

namespace recorder {

// Waits for other commands, as long as for another writer of a database, and keeps them waiting
// until the result goes, or the process. Throws Error when the lock isn't free by then, or when
// there is nothing to lock: the recorder has no databases yet.
[[nodiscard]] UniqueFd LockCameras();

} // namespace recorder
