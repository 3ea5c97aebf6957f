// Runs krplan and reads its notes.

#pragma once

#include "tools/common/joboptions.h"
#include "tools/common/note.h"

#include <functional>

// Starts krplan and passes each note to `take`. Returns the exit status of krplan: 0, or without a
// plan the status that krindexer would have. Throws Error if krplan can't be started, is killed, or
// ends before its plan is complete.
[[nodiscard]] int ReadPlan(const JobOptions& jobs,
                           const std::function<void(const plan::Note&)>& take);
