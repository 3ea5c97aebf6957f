// The small files by which a disk and a camera are known again.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace recorder {

// The first `maxBytes` of the identity file at `path`, in a folder whose own links are resolved or
// trusted. Nothing when there certainly is no such file.
//
// Throws Error when it can't be read, and when it is anything but a regular file: a link in its
// place could vouch for one folder from another.
[[nodiscard]] std::optional<std::string> ReadIdentityFile(const std::string& path,
                                                          std::size_t maxBytes);

} // namespace recorder
