// The report of what krindexer would do.

#pragma once

#include "tools/common/joboptions.h"
#include "tools/krctl/report/page.h"

// Throws Error. Where there is no plan, says why on standard error and throws the exit status that
// krindexer would have, as CLI::RuntimeError.
[[nodiscard]] Report PlanReport(const JobOptions& jobs);
