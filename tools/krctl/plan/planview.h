// A plan, as krctl shows it.

#pragma once

#include "tools/common/json.h"
#include "tools/common/note.h"
#include "tools/krctl/plan/plansummary.h"

#include <string>

// Prints a table of the parts, what stands out, and what krindexer would do in one sentence.
void PrintPlan(const PlanSummary& plan);

// "camera 3 Front: ...", "snapshots: ...".
[[nodiscard]] std::string ProblemText(const PlanSummary& plan, const plan::Note& problem);

// "row-without-file", kind, camera and path, separated by tabs; control characters are escaped.
[[nodiscard]] std::string ListLine(const plan::Note& item);

// As docs/json/plan.schema.json says; the items are no part of the first.
[[nodiscard]] Json JsonOf(const PlanSummary& plan);
[[nodiscard]] Json JsonOfItem(const plan::Note& item);
