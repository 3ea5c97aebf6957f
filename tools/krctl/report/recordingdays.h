// The days of a camera: the number of recordings on each, the days without recordings (holes), and
// the days on which rows and files differed (drift).

#pragma once

#include <map>
#include <string>
#include <vector>

struct RecordingDay {
    long count = 0;  // recordings
    long gained = 0; // rows added, or to add
    long lost = 0;   // rows removed, or to remove
    [[nodiscard]] bool HasDrift() const { return gained + lost > 0; }
};

// The labels of drift: "added" for a run, "to add" for a plan.
struct DriftLabels {
    std::string added = "added";
    std::string removed = "removed";
};

// Consecutive days without recordings, or with drift in the same direction.
struct Stretch {
    long firstDay = 0;
    long lastDay = 0;
    bool isHole = false; // no recordings, but some before and after
    RecordingDay sum;    // the drift of these days

    [[nodiscard]] long Days() const { return lastDay - firstDay + 1; }
};

class RecordingDays {
public:
    // The day, to be filled in. Days outside the calendar count in OffCalendar only.
    RecordingDay& operator[](long day) { return m_days[day]; }

    // Must be called when all days are filled in, before the functions below.
    void Finish();

    [[nodiscard]] bool IsEmpty() const { return m_days.empty(); }
    [[nodiscard]] long FirstDay() const { return m_days.begin()->first; }
    [[nodiscard]] long LastDay() const { return m_days.rbegin()->first; }
    [[nodiscard]] bool HasDayBetween(long firstDay, long lastDay) const;

    // Returns an empty day if nothing is known about it.
    [[nodiscard]] const RecordingDay& At(long day) const;
    [[nodiscard]] bool IsHole(long day) const;

    // Returns 0 for no recordings, or 1 to 4 by their number compared with the camera's busy days.
    [[nodiscard]] int Level(const RecordingDay& day) const;

    // Returns true if rows were added and removed on the same day.
    [[nodiscard]] bool HasBoth() const;

    // The first and last day with recordings, if there are any.
    [[nodiscard]] long FirstCounted() const { return m_firstCounted; }
    [[nodiscard]] long LastCounted() const { return m_lastCounted; }
    [[nodiscard]] long Recordings() const { return m_recordings; }
    [[nodiscard]] long DaysWithRecordings() const { return m_daysWithRecordings; }
    [[nodiscard]] long Holes() const;                                // days
    [[nodiscard]] long OffCalendar() const { return m_offCalendar; } // recordings

    // Holes and drift, oldest first.
    [[nodiscard]] std::vector<Stretch> Stretches() const;

private:
    void DropOffCalendar();

    std::map<long, RecordingDay> m_days;
    long m_firstCounted = 0;
    long m_lastCounted = -1;
    long m_busy = 1;
    long m_recordings = 0;
    long m_daysWithRecordings = 0;
    long m_offCalendar = 0;
};

// "4 rows removed", "2 rows added, 3 rows removed".
[[nodiscard]] std::string DriftText(const RecordingDay& day, const DriftLabels& labels);

// "3–5 March 2026: no recordings, 3 days".
[[nodiscard]] std::string StretchText(const Stretch& stretch, const DriftLabels& labels);
