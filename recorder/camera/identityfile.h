// The small files that identify a disk and a camera.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace recorder {

// Returns the first `maxBytes` of the identity file at `path`, whose folder must have no untrusted
// links in its path. Returns nothing only if the file certainly does not exist.
//
// Throws Error when the file can't be read or is not a regular file: a link could make the identity
// of one folder appear in another.
[[nodiscard]] std::optional<std::string> ReadIdentityFile(const std::string& path,
                                                          std::size_t maxBytes);

} // namespace recorder
