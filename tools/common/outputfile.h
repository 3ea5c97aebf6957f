// A file that krctl writes for the operator.

#pragma once

#include <string>

#include <sys/types.h>

// Writes the text to `path`, completely or not at all. Replaces an existing regular file, but no
// device or link. `mode` is the file's mode, whatever the umask. Throws Error that names the path.
void WriteOutputFile(const std::string& path, const std::string& text, mode_t mode);
