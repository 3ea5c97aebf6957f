#pragma once

// Whether a run is publishing what is queued. It does so after its end, and holds a lock meanwhile.
// Throws recorder::Error when that can't be told.
[[nodiscard]] bool IsPublishing();
