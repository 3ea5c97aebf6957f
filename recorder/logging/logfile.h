// The log file: spdlog's size-rotated file, behind the one function that the recorder needs of it.

#pragma once

#include "recorder/support/error.h"

#include <string>

namespace recorder {

class UntrustedLog : public Error {
public:
    using Error::Error;
};

// Appends one line, stamped with time and process id. It is with the kernel when this returns: the
// tool's child ends without flushing anything, and a killed process flushes nothing either. A log
// that can't be opened or written swallows the line, which is counted (failures.h) for the record
// of the run.
//
// A log that somebody else could have planted is never written: as root this process would write
// for them wherever their link leads.
void AppendToLogFile(const std::string& line);

// Throws UntrustedLog when the log is such a one, whose reason is then on stderr, once for the
// process, and SettingsError when the settings are invalid. What can't be logged may not be done:
// every operation of the platform that changes something asks first, as a run without registration
// is refused by nothing else.
void RequireLog();

} // namespace recorder
