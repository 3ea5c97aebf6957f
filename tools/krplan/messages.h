// The messages of the tool and of the recorder, which a plan takes its notes from instead of
// logging them.

#pragma once

#include <string>

namespace plan {

// Something would be declined. The error that is said of it next is not noted besides.
void NoteRefused(const std::string& why);

// Notes what was said last, which waits to be explained by what is said next.
void NoteLastFailure();

} // namespace plan
