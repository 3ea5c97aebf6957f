// The system's journal, if a service manager has connected standard error to it.

#pragma once

#include <string>

namespace recorder {

// Appends one line. `level` is a text of Enum2String, or null. Does nothing if standard error is
// not the journal: on a terminal the tool prints nothing.
void AppendToJournal(const char* level, const std::string& line);

} // namespace recorder
