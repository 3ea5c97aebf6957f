// The presentation of a recorded run.

#pragma once

#include "recorder/finding/finding.h"
#include "recorder/run/runlist.h"
#include "tools/common/json.h"
#include "tools/common/texts.h"

#include <string>
#include <vector>

struct RunView {
    recorder::RunRecord record;
    std::vector<recorder::RunPart> parts;
    std::vector<recorder::Finding>
        unreadable;         // what the run could not read, unless put right since
    long knownFindings = 0; // on record now, of all runs and checks
};

// Reads the parts of the run and the findings. Throws Error if the database can't be read.
[[nodiscard]] RunView ViewOf(const recorder::RunRecord& record);

// Adds the counts of a part to a sum.
void AddUp(recorder::RunPart& sum, const recorder::RunPart& part);

enum class RunOutcome {
    Complete,   // finished without failures and refusals
    Failures,   // finished with failures or refusals
    Unfinished, // in progress, stopped or killed
};
[[nodiscard]] RunOutcome OutcomeOf(const recorder::RunRecord& record);

// "complete", or "nothing to add or remove" for a complete run without changes; "3 failures, 1
// refusal"; "unfinished". The text claims no more, because a run compares only the names of files
// that have rows, and doesn't read recordings again that an earlier run could not read.
[[nodiscard]] std::string OutcomeText(const recorder::RunRecord& record);
// With the findings that are on record now: "in line, 3 known findings", "2 failures, 3 known
// findings".
[[nodiscard]] std::string OutcomeText(const RunView& run);

// The exit status for the run: a refusal outranks failures, and a run without an end failed.
[[nodiscard]] int ExitStatusOf(const recorder::RunRecord& record);

// False for the part of deleted cameras if nothing happened in it, which is the usual case.
[[nodiscard]] bool IsShown(const recorder::RunPart& part);

// "3 Front"; "-" for a kind without cameras; "gone" for deleted cameras.
[[nodiscard]] std::string CameraOf(const CameraNames& names, const recorder::RunPart& part);

[[nodiscard]] recorder::RunPart TotalOf(const std::vector<recorder::RunPart>& parts);

// The refusals as "camera 3 Front: REASON", without repetitions: a missing volume causes one for
// recordings and one for alert recordings.
[[nodiscard]] std::vector<std::string> RefusalsOf(const RunView& run, const CameraNames& names);

// Prints a table of the parts, the refusals, and the outcome in one line.
void PrintRun(const RunView& run);

// In the form of docs/json/run.schema.json.
[[nodiscard]] Json JsonOf(const RunView& run);
