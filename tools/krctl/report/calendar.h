// The days of a camera, as text and as pictures.

#pragma once

#include "tools/common/texts.h"
#include "tools/krctl/report/html.h"
#include "tools/krctl/report/recordingdays.h"
#include "tools/krctl/report/recordingtimes.h"
#include "tools/krctl/report/yearstrip.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

struct CameraCalendar {
    int camId = 0;
    std::string name; // empty if the camera was removed
    RecordingDays days;
    std::optional<RecordingTimes> times = std::nullopt; // of the last days; nothing: not read
};

using DaysByCamera = std::map<int, RecordingDays>;

// Returns a calendar for each camera in `names` and each camera in `days`.
[[nodiscard]] std::vector<CameraCalendar> CalendarsOf(const CameraNames& names, DaysByCamera days);

[[nodiscard]] Html CalendarHtml(const CameraCalendar& calendar, const StripOptions& options);
