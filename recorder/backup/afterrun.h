// The backup after a run.

#pragma once

namespace recorder {

// If the settings ask for it, takes a backup to each of their folders, unless no run has changed
// rows since. Waits for its end, at most half an hour. A failure is logged, and LastBackupFailure
// reports it. The databases must be closed or in no transaction.
void BackUpAfterRun() noexcept;

} // namespace recorder
