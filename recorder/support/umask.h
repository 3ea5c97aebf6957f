// The umask of every process of the recorder.

#pragma once

#include <sys/types.h>

namespace recorder {

// Recordings show people: what the recorder makes is for its own user and group alone, files 0640
// and folders 0750 at most, whatever umask the caller has. The umask is the one place that the
// libraries obey too, which make files of their own: databases and their journals, logs and rotated
// logs, and the folders above them. A stricter umask of the caller's stays in force.
//
// Returns the caller's umask.
mode_t TightenUmask() noexcept;

} // namespace recorder
