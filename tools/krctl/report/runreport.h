// The report of a run on record.

#pragma once

#include "tools/krctl/report/page.h"

// Of the newest run; the calendars alone where there is none. Throws Error.
[[nodiscard]] Report NewestRunReport();
