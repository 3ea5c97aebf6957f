// A file that the operator asked krctl to write.

#pragma once

#include <string>

#include <sys/types.h>

// Writes the text to `path`, whole or not at all, in place of a file that may be there; a device
// or a link is not replaced. `mode` is the file's, whatever the umask. Throws Error, with the path.
void WriteOutputFile(const std::string& path, const std::string& text, mode_t mode);
