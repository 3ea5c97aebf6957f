// The failures that this process has logged, for the record of its run.

#pragma once

namespace recorder {

// Whether a message reports a failure that no other message has reported: the recorder's errors do,
// and those errors of the tool that name an errno. The tool's other errors follow from one that the
// recorder has logged.
[[nodiscard]] bool IsFailure(const char* categ, const char* level, const char* format);

// How many messages of that kind were logged so far. A configuration that closes the tool's errors
// out of the log keeps them from being counted too.
[[nodiscard]] long FailuresLogged();
void CountFailure();

// How many lines the log didn't take so far.
[[nodiscard]] long LinesNotLogged();
void CountLineNotLogged();

} // namespace recorder
