// A run on record, as krctl shows it.

#pragma once

#include "recorder/run/runlist.h"
#include "tools/json.h"

#include <string>
#include <vector>

struct RunView {
    recorder::RunRecord record;
    std::vector<recorder::RunPart> parts;
};

// Throws Error.
[[nodiscard]] RunView ViewOf(const recorder::RunRecord& record);

// How it ended.
enum class RunOutcome {
    InLine,   // nothing failed, nothing was refused
    Failures, // it went to its end, but something failed or was refused
    NotEnded, // it goes on, was stopped or was killed
};
[[nodiscard]] RunOutcome OutcomeOf(const recorder::RunRecord& record);

// "in line", "3 failures, 1 refusal", "not ended".
[[nodiscard]] std::string OutcomeText(const recorder::RunRecord& record);

// Prints a table of the parts, what was refused, and the outcome in one line.
void PrintRun(const RunView& run);

// As docs/json/run.schema.json says.
[[nodiscard]] Json JsonOf(const RunView& run);
