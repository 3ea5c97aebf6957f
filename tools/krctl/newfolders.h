// Creating the folders of snapshots and e-maps.

#pragma once

// Creates those that are missing, with mode 0750, and prints what was created and what existed.
// A folder that may be on a disk that is not mounted is not created; the reason is printed to
// standard error. Returns false in that case. Throws recorder::Error.
[[nodiscard]] bool CreateMediaFolders();
