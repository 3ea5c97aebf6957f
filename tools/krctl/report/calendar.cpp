#include "tools/krctl/report/calendar.h"

#include "tools/common/texts.h"
#include "tools/krctl/report/dates.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::size_t kMaxListed = 40; // stretches of days

Html Heading(const CameraCalendar& calendar) {
    return Element("h3", {},
                   Element("span", {{"class", "id"}}, "Camera " + std::to_string(calendar.camId)) +
                       Html::Text(" ") + Name(calendar.name));
}

std::string Summary(const RecordingDays& days) {
    std::string text = "No recordings.";
    if (days.Recordings() > 0) {
        text = Grouped(days.Recordings(), "recording") + " on " +
               Grouped(days.DaysWithRecordings(), "day") + ", " +
               RangeText(days.FirstCounted(), days.LastCounted()) + ".";
    }
    if (days.OffCalendar() > 0) {
        text += " " + Grouped(days.OffCalendar()) +
                " more with a start time outside the years 1 to 9999.";
    }
    return text;
}

long DriftDays(const std::vector<Stretch>& stretches) {
    long days = 0;
    for (const Stretch& stretch : stretches) {
        days += stretch.isHole ? 0 : stretch.Days();
    }
    return days;
}

// Lists the newest first: these are the ones that the operator may still be able to correct.
Html List(const std::vector<Stretch>& stretches, const DriftLabels& labels) {
    Html items;
    std::size_t listed = 0;
    for (auto stretch = stretches.rbegin(); stretch != stretches.rend() && listed < kMaxListed;
         ++stretch, ++listed) {
        items += Element("li", {{"class", stretch->isHole ? "hole" : "drift"}},
                         StretchText(*stretch, labels));
    }
    if (stretches.size() > listed) {
        items += Element(
            "li", {}, "and " + Grouped(static_cast<long>(stretches.size() - listed)) + " earlier");
    }
    return Element("ul", {}, items);
}

Html HolesAndDrift(const RecordingDays& days, const DriftLabels& labels) {
    const std::vector<Stretch> stretches = days.Stretches();
    const long drift = DriftDays(stretches);
    Html summary;
    if (days.Holes() > 0) {
        summary +=
            Element("b", {{"class", "hole"}}, Grouped(days.Holes(), "day") + " without recordings");
    }
    if (drift > 0) {
        summary += Html::Text(summary.IsEmpty() ? "" : " ") +
                   Element("b", {{"class", "drift"}}, "changes on " + Grouped(drift, "day"));
    }
    if (summary.IsEmpty()) {
        return Element("p", {{"class", "quiet"}},
                       days.IsEmpty() ? ""
                                      : "No days without recordings, no rows added or removed.");
    }
    return Element("details", {}, Element("summary", {}, summary) + List(stretches, labels));
}

// Years without recordings and changes get a line of text instead of a picture.
Html Years(const RecordingDays& days, const StripOptions& options) {
    Html years;
    const int last = DateOf(days.LastDay()).year;
    int emptyFrom = 0;
    for (int year = DateOf(days.FirstDay()).year; year <= last; ++year) {
        if (!days.HasDayBetween(DayOf({year, 1, 1}), DayOf({year, 12, 31}))) {
            emptyFrom = emptyFrom == 0 ? year : emptyFrom;
            continue;
        }
        if (emptyFrom != 0) {
            years += Element("p", {{"class", "gap"}},
                             (emptyFrom == year - 1 ? "" : std::to_string(emptyFrom) + " to ") +
                                 std::to_string(year - 1) + ": no recordings");
            emptyFrom = 0;
        }
        years += YearStrip(days, year, options);
    }
    return Element("div", {{"class", "years"}}, years);
}

} // namespace

std::vector<CameraCalendar> CalendarsOf(const CameraNames& names, DaysByCamera days) {
    for (const auto& [camId, name] : names) {
        days[camId];
    }
    std::vector<CameraCalendar> calendars;
    for (auto& [camId, ofCamera] : days) {
        const auto name = names.find(camId);
        ofCamera.Finish();
        calendars.push_back({camId, name == names.end() ? "" : name->second, std::move(ofCamera)});
    }
    return calendars;
}

Html CalendarHtml(const CameraCalendar& calendar, const StripOptions& options) {
    const RecordingDays& days = calendar.days;
    Html content = Heading(calendar) + Element("p", {}, Summary(days));
    if (!days.IsEmpty()) {
        content += HolesAndDrift(days, options.labels) + Years(days, options);
    }
    if (calendar.times) {
        content += RecordingTimesHtml(*calendar.times);
    }
    return Element("article", {}, content);
}
