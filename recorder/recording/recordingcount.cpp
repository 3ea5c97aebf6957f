#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/logfile.h"
#include "recorder/support/format.h"

#include <ctime>
#include <set>

namespace recorder {

namespace {

constexpr long kSecondsPerDay = 86400;

unsigned long long NowUs() {
    struct timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1'000'000 +
           static_cast<unsigned long long>(now.tv_nsec) / 1000;
}

// Rounded down, also before the epoch.
long DayOf(long startTm) {
    return (startTm - ((startTm % kSecondsPerDay) + kSecondsPerDay) % kSecondsPerDay) /
           kSecondsPerDay;
}

// Days to which recordings were added are counted again, not increased, so that a row that existed
// before is not counted twice.
std::string CountSql(const std::set<std::pair<int, long>>& cameraDays, unsigned long long stamp) {
    std::string sql;
    for (const auto& [camId, day] : cameraDays) {
        sql += Format("INSERT INTO recording_count (camera_id, day, count, stamp) "
                      "SELECT camera_id, %ld, count(*), %llu FROM event "
                      "WHERE camera_id = %d AND start_tm >= %ld AND start_tm < %ld "
                      "GROUP BY camera_id "
                      "ON CONFLICT (camera_id, day) DO UPDATE "
                      "SET count = excluded.count, stamp = excluded.stamp "
                      "WHERE recording_count.count <> excluded.count;",
                      day, stamp, camId, day * kSecondsPerDay, (day + 1) * kSecondsPerDay);
    }
    return sql;
}

// Only counts that differ are written: if all of them are right, nothing changes. The recursion
// steps through the index from the first recording of a day to the first one of the next day, so
// that recordings are counted without being sorted.
constexpr const char* kRecountSql =
    "INSERT INTO recording_count (camera_id, day, count, stamp) "
    "WITH RECURSIVE first (id) AS ("
    "SELECT (SELECT id FROM event ORDER BY camera_id, start_tm LIMIT 1) "
    "UNION ALL "
    "SELECT (SELECT later.id FROM event AS later "
    "        WHERE (later.camera_id, later.start_tm) >= (event.camera_id, "
    "              event.start_tm - ((event.start_tm %% 86400) + 86400) %% 86400 + 86400) "
    "        ORDER BY later.camera_id, later.start_tm LIMIT 1) "
    "FROM first JOIN event ON event.id = first.id), "
    "days (camera_id, day) AS ("
    "SELECT camera_id, (start_tm - ((start_tm %% 86400) + 86400) %% 86400) / 86400 "
    "FROM first JOIN event ON event.id = first.id) "
    "SELECT camera_id, day, "
    "       (SELECT count(*) FROM event WHERE event.camera_id = days.camera_id "
    "        AND start_tm >= day * 86400 AND start_tm < (day + 1) * 86400), %llu "
    "FROM days WHERE true "
    "ON CONFLICT (camera_id, day) DO UPDATE "
    "SET count = excluded.count, stamp = excluded.stamp "
    "WHERE recording_count.count <> excluded.count;"
    "DELETE FROM recording_count WHERE NOT EXISTS ("
    "SELECT 1 FROM event WHERE event.camera_id = recording_count.camera_id "
    "AND event.start_tm >= recording_count.day * 86400 "
    "AND event.start_tm < (recording_count.day + 1) * 86400);";

} // namespace

} // namespace recorder

int RecordingCount::AddRecCounts(const std::list<std::pair<int, long>>& recordings,
                                 unsigned long long& stamp) {
    return recorder::LogExceptions(-1, [&] {
        recorder::RequireLog();
        std::set<std::pair<int, long>> cameraDays;
        for (const auto& [camId, startTm] : recordings) {
            cameraDays.emplace(camId, recorder::DayOf(startTm));
        }
        const unsigned long long now = recorder::NowUs();
        recorder::Execute(KRDB::DB_RECORDING, recorder::CountSql(cameraDays, now));
        stamp = now;
        return 0;
    });
}

int RecordingCount::Recount() {
    return recorder::LogExceptions(-1, [] {
        recorder::RequireLog();
        recorder::Execute(KRDB::DB_RECORDING,
                          recorder::Format(recorder::kRecountSql, recorder::NowUs()));
        return 0;
    });
}
