// The reports that krctl makes.

#pragma once

#include "tools/common/joboptions.h"
#include "tools/krctl/report/page.h"

// What krindexer would do. Throws Error. Where there is no plan, says why on standard error and
// throws the exit status that krindexer would have, as CLI::RuntimeError.
[[nodiscard]] Report PlanReport(const JobOptions& jobs);

// The newest run on record; the calendars alone where there is none. Throws Error.
[[nodiscard]] Report NewestRunReport();
