// Giving a storage volume its identity.

#pragma once

#include <string>

namespace recorder {

// Makes `folder` (absolute) the root of a volume with a new identity, and returns its id. The
// identity is on the disk when this returns; a crash leaves it whole or not there.
//
// Throws Error when it is no folder, when it has an identity already (which then stays as it is,
// and the message names it), or when it can't be written.
std::string InitVolume(const std::string& folder);

} // namespace recorder
