// The failures that this process has logged, for the record of its run.

#pragma once

namespace recorder {

// Whether a message tells of a failure, once for each: the recorder's errors do, and of the tool's
// those that name an errno. Its other errors follow from one that the recorder has logged already.
[[nodiscard]] bool TellsOfFailure(const char* categ, const char* level, const char* format);

// How many messages of that kind were logged so far. A configuration that closes the tool's errors
// out of the log keeps them from being counted too.
[[nodiscard]] long FailuresLogged();
void CountFailure();

// How many lines the log didn't take so far.
[[nodiscard]] long LinesNotLogged();
void CountLineNotLogged();

} // namespace recorder
