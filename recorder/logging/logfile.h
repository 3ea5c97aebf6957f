// The log file: a wrapper of spdlog's size-rotated file.

#pragma once

#include "recorder/support/error.h"

#include <string>

namespace recorder {

class UntrustedLog : public Error {
public:
    using Error::Error;
};

// Appends one line with time and process id. The kernel has the line when this returns, because the
// tool's child process and a killed process end without flushing. A line that can't be written is
// dropped and counted for the record of the run (failures.h).
//
// A log that another user could have created is never written: this process, as root, would write
// wherever that user's link leads.
void AppendToLogFile(const std::string& line);

// Throws UntrustedLog if another user could have created the log; the reason is then on stderr,
// once for the process. Throws SettingsError if the settings are invalid. No change is made that
// can't be logged: every operation of the platform that changes something calls this first, because
// nothing else refuses a run without registration.
void RequireLog();

} // namespace recorder
