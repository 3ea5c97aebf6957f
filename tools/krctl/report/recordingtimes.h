// What a camera recorded in the last days, hour by hour, and why there is no recording for the
// rest.

#pragma once

#include "recorder/coverage/cameracoverage.h"
#include "tools/krctl/report/html.h"

#include <string>

struct RecordingTimes {
    long nowTm = 0; // seconds since the epoch
    recorder::CameraCoverage camera;
};

// Reads the rows and the half-day folders of the last two weeks. Throws Error.
[[nodiscard]] RecordingTimes ReadRecordingTimes(int camId, long nowTm);

// A strip for each day, in local time.
[[nodiscard]] Html RecordingTimesHtml(const RecordingTimes& times);

// Explains the strips.
[[nodiscard]] Html RecordingTimesLegend();
