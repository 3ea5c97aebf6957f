// Runs krplan and reads its notes.

#pragma once

#include "tools/common/joboptions.h"
#include "tools/common/note.h"
#include "tools/krctl/plan/plansummary.h"

#include <functional>

// Starts krplan, once for each run that the selection needs, and passes each note to `take`. Rows
// of deleted cameras, which each of these runs would remove, are passed once. Returns the exit
// status of krplan: 0, or without a plan the status that krindexer would have. Throws Error if
// krplan can't be started, is killed, or ends before its plan is complete, and UsageError if a
// selected camera does not exist.
[[nodiscard]] int ReadPlan(const JobSelection& jobs,
                           const std::function<void(const plan::Note&)>& take);

// Prints why there is no plan, and throws the exit status of krplan as CLI::RuntimeError.
[[noreturn]] void FailWithoutPlan(int status, const PlanSummary& plan);
