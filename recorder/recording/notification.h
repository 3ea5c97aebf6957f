// Messages about recordings, for the rest of the package.

#pragma once

namespace recorder {

// Enqueues messages about recordings that an earlier run added but did not announce because it was
// killed. Throws Error when they can't be enqueued.
void AnnounceRecordings();

} // namespace recorder
