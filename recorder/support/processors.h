// The processors that this process may use.

#pragma once

namespace recorder {

// At least 1, also if the number can't be determined.
[[nodiscard]] int UsableProcessors();

} // namespace recorder
