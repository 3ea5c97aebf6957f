// The log file: spdlog's size-rotated file, behind the one function that the recorder needs of it.

#pragma once

#include <string>

namespace recorder {

// Appends one line, stamped with time and process id. It is with the kernel when this returns: the
// tool's child ends without flushing anything, and a killed process flushes nothing either. A log
// that can't be opened or written swallows the line, which is counted (failures.h) for the record
// of the run.
//
// A log that somebody else could have planted is never written: as root this process would write
// for them wherever their link leads.
void AppendToLogFile(const std::string& line);

// Throws Error when the log is such a one. The reason is then on stderr, once for the process.
void DemandTrustedLog();

} // namespace recorder
