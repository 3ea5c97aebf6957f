#include "tools/krctl/report/recordingtimes.h"

#include "recorder/support/format.h"
#include "tools/common/coverageview.h"
#include "tools/common/texts.h"
#include "tools/krctl/report/dates.h"

#include <array>
#include <ctime>
#include <vector>

namespace {

using recorder::Coverage;
using recorder::Format;
using recorder::Interval;

constexpr int kDays = 14;
constexpr double kSecondsPerMinute = 60;
constexpr int kHeight = 10;
constexpr std::size_t kMaxListed = 20; // gaps of a day

// The parts of a strip differ in place and height, not only in colour.
struct Look {
    Coverage coverage;
    const char* className;
    int top;
    int height;
};
constexpr std::array kLooks{Look{Coverage::Recorded, "tr", 0, kHeight},
                            Look{Coverage::NotIndexed, "ti", 0, kHeight / 2},
                            Look{Coverage::Damaged, "td", 2, kHeight - 4},
                            Look{Coverage::Removed, "tm", kHeight / 2, kHeight / 2},
                            Look{Coverage::Unknown, "tu", 4, 2},
                            Look{Coverage::NotRecorded, "tn", kHeight - 1, 1}};

const Look& LookOf(Coverage coverage) {
    for (const Look& look : kLooks) {
        if (look.coverage == coverage) {
            return look;
        }
    }
    return kLooks.back();
}

struct tm LocalTime(long timeTm) {
    const std::time_t seconds = timeTm;
    struct tm local = {};
    localtime_r(&seconds, &local);
    return local;
}

// The beginning of the local day `days` days before that of `nowTm`.
long DayBegin(long nowTm, int days) {
    struct tm local = LocalTime(nowTm);
    local.tm_mday -= days;
    local.tm_hour = local.tm_min = local.tm_sec = 0;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

// "02:10", or "24:00" at the end of the day.
std::string ClockText(long timeTm, long dayEndTm) {
    const struct tm local = LocalTime(timeTm);
    return timeTm == dayEndTm ? "24:00" : Format("%02d:%02d", local.tm_hour, local.tm_min);
}

std::string DateText(long dayBeginTm) {
    constexpr int kFirstYear = 1900;
    const struct tm local = LocalTime(dayBeginTm);
    const long day = DayOf({local.tm_year + kFirstYear, static_cast<unsigned>(local.tm_mon + 1),
                            static_cast<unsigned>(local.tm_mday)});
    return RangeText(day, day);
}

struct Day {
    long beginTm = 0;
    long endTm = 0;                 // the next day's beginning
    std::vector<Interval> coverage; // until now on the last day
};

std::vector<Day> DaysOf(const RecordingTimes& times) {
    std::vector<Day> days;
    for (int ago = kDays - 1; ago >= 0; --ago) {
        Day day{DayBegin(times.nowTm, ago), DayBegin(times.nowTm, ago - 1), {}};
        for (const Interval& interval : times.camera.coverage) {
            const long begin = std::max(interval.beginTm, day.beginTm);
            const long end = std::min(interval.endTm, day.endTm);
            if (begin < end) {
                day.coverage.push_back({begin, end, interval.coverage});
            }
        }
        days.push_back(std::move(day));
    }
    return days;
}

std::string HintOf(const Day& day, const Interval& interval) {
    return std::string(TextOf(interval.coverage)) + " " + ClockText(interval.beginTm, day.endTm) +
           "\u2013" + ClockText(interval.endTm, day.endTm);
}

// "3 March 2026: not recorded 02:10–04:35; removed from disk 20:00–24:00"
std::string TextOf(const Day& day) {
    std::string text;
    std::size_t gaps = 0;
    for (const Interval& interval : day.coverage) {
        if (interval.coverage != Coverage::Recorded && ++gaps <= kMaxListed) {
            text += (text.empty() ? "" : "; ") + HintOf(day, interval);
        }
    }
    if (gaps > kMaxListed) {
        text += "; and " + Grouped(static_cast<long>(gaps - kMaxListed), "more gap");
    }
    return DateText(day.beginTm) + ": " + (text.empty() ? "recorded without a gap" : text);
}

Html Part(const Look& look, double left, double width, const std::string& hint) {
    return Html::Markup(Format("<rect class=\"%s\" x=\"%.2f\" y=\"%d\" width=\"%.2f\" "
                               "height=\"%d\">",
                               look.className, left, look.top, width, look.height)) +
           (hint.empty() ? Html() : Element("title", {}, hint)) + Html::Markup("</rect>");
}

Html Strip(const Day& day) {
    Html parts;
    for (const Interval& interval : day.coverage) {
        parts += Part(LookOf(interval.coverage),
                      static_cast<double>(interval.beginTm - day.beginTm) / kSecondsPerMinute,
                      static_cast<double>(interval.endTm - interval.beginTm) / kSecondsPerMinute,
                      HintOf(day, interval));
    }
    const std::string view = Format(
        "0 0 %.2f %d", static_cast<double>(day.endTm - day.beginTm) / kSecondsPerMinute, kHeight);
    return Element("svg",
                   {{"viewBox", view},
                    {"preserveAspectRatio", "none"},
                    {"role", "img"},
                    {"aria-label", TextOf(day)}},
                   parts);
}

Html Problems(const std::vector<std::string>& problems) {
    Html items;
    for (const std::string& problem : problems) {
        items += Element("li", {}, Name("Unknown: " + problem));
    }
    return items.IsEmpty() ? items : Element("ul", {}, items);
}

} // namespace

RecordingTimes ReadRecordingTimes(int camId, long nowTm) {
    return {nowTm, recorder::CoverageOfCamera(camId, DayBegin(nowTm, kDays - 1), nowTm, nowTm)};
}

Html RecordingTimesHtml(const RecordingTimes& times) {
    Html days;
    for (const Day& day : DaysOf(times)) {
        days += Element("li", {}, Element("span", {}, DateText(day.beginTm)) + Strip(day));
    }
    return Element("ul", {{"class", "times"}}, days) + Problems(times.camera.problems);
}

Html RecordingTimesLegend() {
    Html items;
    for (const Look& look : kLooks) {
        const Html sample = Element("svg",
                                    {{"class", "sample"},
                                     {"viewBox", Format("0 0 %d %d", 2 * kHeight, kHeight)},
                                     {"aria-hidden", "true"}},
                                    Part(look, 0, 2 * kHeight, ""));
        items += Element("li", {}, sample + Html::Text(TextOf(look.coverage)));
    }
    return Element("p", {},
                   "The last " + std::to_string(kDays) +
                       " days of each camera in local time, from 0 to 24 hours:") +
           Element("ul", {{"class", "legend"}}, items);
}
