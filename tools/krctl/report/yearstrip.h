// A year of a camera as a picture: a line for each month, a cell for each day.

#pragma once

#include "tools/krctl/report/html.h"
#include "tools/krctl/report/recordingdays.h"

struct StripOptions {
    DriftLabels labels;
    bool hasHintPerDay = false; // the hints under the pointer are per day, otherwise per month
};

// Draws the months of the year from the first to the last day in `days`.
[[nodiscard]] Html YearStrip(const RecordingDays& days, int year, const StripOptions& options);

// Explains the cells.
[[nodiscard]] Html StripLegend(const DriftLabels& labels, bool withBoth);
