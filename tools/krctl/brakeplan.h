// The plan that is made before a run with a limit on removed rows.

#pragma once

#include "recorder/run/brake.h"
#include "tools/common/joboptions.h"

// Plans the runs, and prints to standard error of which kinds and cameras the limit will hold the
// rows. Returns the exit status of krplan: no run may start unless it is 0. Throws Error if
// the plan can't be made.
[[nodiscard]] int AnnounceBraked(const JobSelection& jobs, const recorder::RemovalLimit& limit);
