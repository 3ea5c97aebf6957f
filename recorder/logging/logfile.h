// The log file: spdlog's size-rotated file, behind the one function that the recorder needs of it.

#pragma once

#include <string>

namespace recorder {

// Appends one line, stamped with time and process id. It is with the kernel when this returns: the
// tool's child ends without flushing anything, and a killed process flushes nothing either. A log
// that can't be opened or written swallows the line; there is nobody left to tell.
void AppendToLogFile(const std::string& line);

} // namespace recorder
