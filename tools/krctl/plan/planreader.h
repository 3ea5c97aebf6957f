// The notes of the planner, as they come.

#pragma once

#include "tools/common/joboptions.h"
#include "tools/common/note.h"

#include <functional>

// Starts krplan and hands over each of its notes. Returns its exit status: 0, or where it could
// make no plan that of krindexer. Throws Error when it can't be started or doesn't come to its end.
[[nodiscard]] int ReadPlan(const JobOptions& jobs,
                           const std::function<void(const plan::Note&)>& take);
