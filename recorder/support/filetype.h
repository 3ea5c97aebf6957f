// The type of a file, for messages.

#pragma once

#include <sys/types.h>

namespace recorder {

// The type in a file's mode: "a folder", "a symbolic link", "a regular file".
[[nodiscard]] const char* FileTypeText(mode_t mode);

} // namespace recorder
