// The file of the highest ids (idmarks.h), for whoever doesn't write it.

#pragma once

namespace recorder {

// Throws Error where the file can't be used, so that no run can be recorded: it is no regular file,
// or may not be read and written. Nothing is changed. A file that is not there is made by the next
// run.
void RequireUsableIdMarks();

} // namespace recorder
