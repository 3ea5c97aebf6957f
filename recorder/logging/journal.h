// The system's journal, where a service manager has connected this process's standard error to it.

#pragma once

#include <string>

namespace recorder {

// Appends one line. `level` as Enum2String names it, or null. Nothing happens where standard error
// is anything but the journal: on a terminal the tool stays silent.
void AppendToJournal(const char* level, const std::string& line);

} // namespace recorder
