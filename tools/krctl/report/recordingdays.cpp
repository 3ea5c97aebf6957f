#include "tools/krctl/report/recordingdays.h"

#include "tools/common/texts.h"
#include "tools/krctl/report/dates.h"

#include <algorithm>

namespace {

constexpr long kBusyPercent =
    90; // a busy day has as many recordings as this share of the days at most
constexpr int kLevels = 4;

bool SameDrift(const RecordingDay& one, const RecordingDay& other) {
    return (one.gained > 0) == (other.gained > 0) && (one.lost > 0) == (other.lost > 0);
}

void AddDrift(RecordingDay& sum, const RecordingDay& day) {
    sum.gained += day.gained;
    sum.lost += day.lost;
}

} // namespace

void RecordingDays::Finish() {
    DropOffCalendar();
    std::vector<long> counts;
    for (const auto& [day, what] : m_days) {
        if (what.count > 0) {
            m_firstCounted = counts.empty() ? day : m_firstCounted;
            m_lastCounted = day;
            m_recordings += what.count;
            counts.push_back(what.count);
        }
    }
    m_daysWithRecordings = static_cast<long>(counts.size());
    if (!counts.empty()) {
        const long index = (m_daysWithRecordings - 1) * kBusyPercent / 100;
        std::nth_element(counts.begin(), counts.begin() + index, counts.end());
        m_busy = counts[static_cast<std::size_t>(index)];
    }
}

void RecordingDays::DropOffCalendar() {
    for (auto day = m_days.begin(); day != m_days.end();) {
        if (IsOnCalendar(day->first)) {
            ++day;
        } else {
            m_offCalendar += day->second.count;
            day = m_days.erase(day);
        }
    }
}

bool RecordingDays::HasDayBetween(long firstDay, long lastDay) const {
    const auto found = m_days.lower_bound(firstDay);
    return found != m_days.end() && found->first <= lastDay;
}

const RecordingDay& RecordingDays::At(long day) const {
    static const RecordingDay nothing;
    const auto found = m_days.find(day);
    return found == m_days.end() ? nothing : found->second;
}

bool RecordingDays::IsHole(long day) const {
    return day > m_firstCounted && day < m_lastCounted && At(day).count == 0;
}

int RecordingDays::Level(const RecordingDay& day) const {
    if (day.count <= 0) {
        return 0;
    }
    return day.count >= m_busy ? kLevels : static_cast<int>(1 + day.count * (kLevels - 1) / m_busy);
}

long RecordingDays::Holes() const {
    return m_lastCounted - m_firstCounted + 1 - m_daysWithRecordings;
}

bool RecordingDays::HasBoth() const {
    return std::any_of(m_days.begin(), m_days.end(), [](const auto& day) {
        return day.second.gained > 0 && day.second.lost > 0;
    });
}

std::vector<Stretch> RecordingDays::Stretches() const {
    std::vector<Stretch> stretches;
    long holeFrom = m_firstCounted + 1;
    for (const auto& [day, what] : m_days) {
        if (what.count > 0) {
            if (day > holeFrom) {
                stretches.push_back({holeFrom, day - 1, true, {}});
            }
            holeFrom = day + 1;
        }
    }
    std::vector<Stretch> drift;
    for (const auto& [day, what] : m_days) {
        if (!what.HasDrift()) {
            continue;
        }
        if (drift.empty() || drift.back().lastDay != day - 1 ||
            !SameDrift(drift.back().sum, what)) {
            drift.push_back({day, day, false, {}});
        }
        drift.back().lastDay = day;
        AddDrift(drift.back().sum, what);
    }
    stretches.insert(stretches.end(), drift.begin(), drift.end());
    std::stable_sort(
        stretches.begin(), stretches.end(),
        [](const Stretch& one, const Stretch& other) { return one.firstDay < other.firstDay; });
    return stretches;
}

std::string DriftText(const RecordingDay& day, const DriftLabels& labels) {
    std::string text;
    if (day.gained > 0) {
        text = Grouped(day.gained, "row") + " " + labels.added;
    }
    if (day.lost > 0) {
        text += (text.empty() ? "" : ", ") + Grouped(day.lost, "row") + " " + labels.removed;
    }
    return text;
}

std::string StretchText(const Stretch& stretch, const DriftLabels& labels) {
    std::string text = RangeText(stretch.firstDay, stretch.lastDay) + ": ";
    if (!stretch.isHole) {
        return text + DriftText(stretch.sum, labels);
    }
    text += "no recordings";
    return stretch.Days() > 1 ? text + ", " + Grouped(stretch.Days(), "day") : text;
}
