// The names of a camera's folders and files. The tool uses the same names.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace recorder {

// Folders in a storage folder.
constexpr const char* kAlertRecordingDirName = "laRec";
constexpr const char* kThumbnailDirName = "@Thumbnail";

// True for a name like "20261120AM".
[[nodiscard]] bool IsHalfDayName(std::string_view name);

// The start time of a recording from its file name, in seconds since the epoch: 1795162500 for
// "/a/20261120AM/Front-20261120-081500-1795162500-LOCK.mp4". Nothing without ten digits before the
// extension or "-LOCK".
[[nodiscard]] std::optional<int64_t> StartTmOfName(std::string_view path);

} // namespace recorder
