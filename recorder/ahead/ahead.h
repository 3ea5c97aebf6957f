// Working ahead of the tool. Where a run waits for its disks or makes thumbnails, the helper
// process krahead prepares what the tool does next, in the folder that the tool walks: it examines
// the files and reads their headers, so that the kernel has them in memory, and makes thumbnails
// under temporary names.
//
// The tool asks and decides; krahead only prepares. Rows, messages, counts and files are the same
// without it. A krahead that ends, hangs or can't be started costs speed only, so no function here
// fails.
//
// With the setting `helpers = "auto"`, krahead is started when the tool is found to wait, or to
// make thumbnails on a machine with several processors. It ends when nothing waits any more, when
// it makes the walk no quicker, and with the run.

#pragma once

#include <string>

namespace recorder {

// The walk has reached the next regular file of the open folder.
void AheadReachesFile(int folder) noexcept;

// The walk has left the folder.
void AheadLeavesFolder() noexcept;

// The tool reads the headers of the file that it reached last.
void AheadReadsHeaders() noexcept;

// The tool makes the thumbnail of the picture that it reached last, the file `name` in the folder
// at `folderPath`. Returns true if krahead has made it from the picture as it is now; the thumbnail
// has its name then.
[[nodiscard]] bool AheadMadeThumbnail(const std::string& folderPath, const std::string& name);

// How many files krahead has prepared at the same time since it was started; 0 if it doesn't run.
[[nodiscard]] int FilesPreparedAtOnce() noexcept;

// Ends krahead, if it runs. For the end of a run.
void EndWorkAhead() noexcept;

// Starts krahead in the folder of the programs and waits until it has examined a file. Does
// nothing if the settings allow no helpers. Throws Error if krahead can't be started or doesn't
// work.
void RequireWorkAhead();

} // namespace recorder
