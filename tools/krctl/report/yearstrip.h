// A year of a camera as a picture: a line for each month, a cell for each day.

#pragma once

#include "tools/krctl/report/html.h"
#include "tools/krctl/report/recordingdays.h"

struct StripOptions {
    DriftLabels words;
    bool tellsEachDay = false; // in words, under the pointer; otherwise each month
};

// The months of the year from the first to the last day of which something is known.
[[nodiscard]] Html YearStrip(const RecordingDays& days, int year, const StripOptions& options);

// What the cells mean.
[[nodiscard]] Html StripLegend(const DriftLabels& words, bool withBoth);
