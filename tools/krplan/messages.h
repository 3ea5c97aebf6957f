// The log messages of the tool and of the recorder: a plan does not log them, but takes notes from
// them.

#pragma once

#include <string>

namespace plan {

// Notes a refusal. The error message that follows with the same text is not noted again.
void NoteRefused(const std::string& why);

// Notes the last failure, if it was not noted yet. It is held back until the next message, which
// may explain it.
void NoteLastFailure();

} // namespace plan
