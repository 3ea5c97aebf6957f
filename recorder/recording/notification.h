// Word of recordings that a run owes the rest of the package.

#pragma once

namespace recorder {

// Tells of the recordings that an earlier run added without telling, as it was killed in between.
// Throws Error when it can't be kept.
void AnnounceRecordings();

} // namespace recorder
