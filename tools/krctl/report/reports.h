// The two reports of krctl report.

#pragma once

#include "tools/common/joboptions.h"
#include "tools/krctl/report/page.h"

// Returns a report about what a run would change. Throws Error. When the plan fails, prints the
// reason to standard error and throws the exit status that krindexer would have, as
// CLI::RuntimeError.
[[nodiscard]] Report PlanReport(const JobSelection& jobs);

// Returns a report about the last run, restricted to the selected parts of it; only the calendars
// if there was no run. Throws Error.
[[nodiscard]] Report LastRunReport(const recorder::MediaSelection& selection);
