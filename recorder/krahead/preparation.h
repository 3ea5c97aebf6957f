// What krahead does with one file: what the tool will do with it, for its effect on the kernel's
// memory.

#pragma once

#include "recorder/krahead/concurrency.h"
#include "recorder/krahead/foldernames.h"
#include "recorder/support/uniquefd.h"

#include <chrono>
#include <functional>

namespace recorder {

using NoteRequest = std::function<void(DiskRequest request, std::chrono::nanoseconds took)>;

// Examines the file, like the tool without opening it. Returns true if it is a regular file.
[[nodiscard]] bool PrepareStatus(const UniqueFd& folder, const NamedFile& file,
                                 const NoteRequest& note);

// Reads the headers of a regular file with the extension of a recording, as far as the recorder
// itself does.
void PrepareHeaders(const UniqueFd& folder, const NamedFile& file, const NoteRequest& note);

} // namespace recorder
