// The days of a camera, in words and as pictures.

#pragma once

#include "tools/common/words.h"
#include "tools/krctl/report/html.h"
#include "tools/krctl/report/recordingdays.h"
#include "tools/krctl/report/yearstrip.h"

#include <map>
#include <string>
#include <vector>

struct CameraCalendar {
    int camId = 0;
    std::string name; // empty: it has none any more
    RecordingDays days;
};

using DaysByCamera = std::map<int, RecordingDays>;

// Of every camera that the recorder has, and of those of which days are known.
[[nodiscard]] std::vector<CameraCalendar> CalendarsOf(const CameraNames& names, DaysByCamera days);

[[nodiscard]] Html CalendarHtml(const CameraCalendar& calendar, const StripOptions& options);
