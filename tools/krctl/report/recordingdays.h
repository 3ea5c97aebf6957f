// The days of a camera: how many recordings there are, where there are none, and where rows and
// files had drifted apart.

#pragma once

#include <map>
#include <string>
#include <vector>

struct RecordingDay {
    long count = 0;  // recordings
    long gained = 0; // rows that were added, or would be
    long lost = 0;   // rows that were removed, or would be
    [[nodiscard]] bool HasDrift() const { return gained + lost > 0; }
};

// How drift is told: of what was done, or of what would be.
struct DriftLabels {
    std::string added = "added";
    std::string removed = "removed";
};

// Days one after the other of which the same can be told.
struct Stretch {
    long firstDay = 0;
    long lastDay = 0;
    bool isHole = false; // no recordings, but earlier and later ones
    RecordingDay sum;    // where it is drift

    [[nodiscard]] long Days() const { return lastDay - firstDay + 1; }
};

class RecordingDays {
public:
    // For adding to. Days that are on no calendar are left out of everything else.
    RecordingDay& operator[](long day) { return m_days[day]; }

    // What follows is told of the days that were there when this was called.
    void Finish();

    [[nodiscard]] bool IsEmpty() const { return m_days.empty(); }
    [[nodiscard]] long FirstDay() const { return m_days.begin()->first; }
    [[nodiscard]] long LastDay() const { return m_days.rbegin()->first; }
    [[nodiscard]] bool HasDayBetween(long firstDay, long lastDay) const;

    // An empty one for a day of which nothing is known.
    [[nodiscard]] const RecordingDay& At(long day) const;
    [[nodiscard]] bool IsHole(long day) const;

    // 0 for no recordings, 1 to 4 by their number compared with the camera's busy days.
    [[nodiscard]] int Level(const RecordingDay& day) const;

    // Rows added and removed on the same day.
    [[nodiscard]] bool HasBoth() const;

    // With recordings, where there are any.
    [[nodiscard]] long FirstCounted() const { return m_firstCounted; }
    [[nodiscard]] long LastCounted() const { return m_lastCounted; }
    [[nodiscard]] long Recordings() const { return m_recordings; }
    [[nodiscard]] long DaysWithRecordings() const { return m_daysWithRecordings; }
    [[nodiscard]] long Holes() const;                                // days
    [[nodiscard]] long OffCalendar() const { return m_offCalendar; } // recordings

    // Holes and drift, in the order of time.
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
[[nodiscard]] std::string DriftText(const RecordingDay& day, const DriftLabels& words);

// "3–5 March 2026: no recordings, 3 days".
[[nodiscard]] std::string StretchText(const Stretch& stretch, const DriftLabels& words);
