// A run on record, as krctl shows it.

#pragma once

#include "recorder/run/runlist.h"
#include "tools/common/json.h"
#include "tools/common/texts.h"

#include <string>
#include <vector>

struct RunView {
    recorder::RunRecord record;
    std::vector<recorder::RunPart> parts;
};

// Throws Error.
[[nodiscard]] RunView ViewOf(const recorder::RunRecord& record);

// Adds the numbers of a part to a sum.
void AddUp(recorder::RunPart& sum, const recorder::RunPart& part);

// How it ended.
enum class RunOutcome {
    Complete,   // it went to its end, nothing failed, nothing was refused
    Failures,   // it went to its end, but something failed or was refused
    Unfinished, // it is in progress, was stopped or was killed
};
[[nodiscard]] RunOutcome OutcomeOf(const recorder::RunRecord& record);

// "complete", or "nothing to add or remove" where it did neither; "3 failures, 1 refusal", "not
// ended". No more is claimed: of files with rows a run compares the names, and what an earlier run
// could not read it doesn't read again.
[[nodiscard]] std::string OutcomeText(const recorder::RunRecord& record);

// The part of cameras that are gone isn't, as there nearly always is nothing to tell of it.
[[nodiscard]] bool IsWorthALine(const recorder::RunPart& part);

// "3 Front", "-" for no camera, "gone".
[[nodiscard]] std::string CameraOf(const CameraNames& names, const recorder::RunPart& part);

[[nodiscard]] recorder::RunPart TotalOf(const std::vector<recorder::RunPart>& parts);

// "camera 3 Front: ...", each once: a missing volume is refused once for recordings and once for
// alert recordings.
[[nodiscard]] std::vector<std::string> RefusalsOf(const RunView& run, const CameraNames& names);

// Prints a table of the parts, what was refused, and the outcome in one line.
void PrintRun(const RunView& run);

// As docs/json/run.schema.json says.
[[nodiscard]] Json JsonOf(const RunView& run);
