// The presentation of a plan.

#pragma once

#include "tools/common/json.h"
#include "tools/common/note.h"
#include "tools/krctl/plan/plansummary.h"

#include <string>

// Prints a table of the parts, rare reasons, problems, and a summary in one sentence.
void PrintPlan(const PlanSummary& plan);

// "camera 3 Front: REASON", "snapshots: REASON".
[[nodiscard]] std::string ProblemText(const PlanSummary& plan, const plan::Note& problem);

// The line of `krctl plan --list`: reason, kind, camera and path, separated by tabs. Control
// characters are escaped.
[[nodiscard]] std::string ListLine(const plan::Note& item);

// In the form of docs/json/plan.schema.json: the plan without its items, and one item.
[[nodiscard]] Json JsonOf(const PlanSummary& plan);
[[nodiscard]] Json JsonOfItem(const plan::Note& item);
