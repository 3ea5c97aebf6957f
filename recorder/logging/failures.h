// The failures that this process has logged, for the record of its run.

#pragma once

namespace recorder {

// Returns true if a message reports a failure that no other message has reported. These are the
// recorder's errors, and the tool's errors that contain an errno. The tool's other errors are
// consequences of errors that the recorder has logged.
[[nodiscard]] bool IsFailure(const char* categ, const char* level, const char* format);

// The number of such messages that this process has logged. Errors of the tool that the
// configuration excludes from the log are not counted.
[[nodiscard]] long FailuresLogged();
void CountFailure();

// The number of lines that could not be written to the log.
[[nodiscard]] long LinesNotLogged();
void CountLineNotLogged();

} // namespace recorder
