#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/support/edge.h"
#include "recorder/utility/format.h"

#include <ctime>
#include <map>

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

std::string AddSql(const std::map<std::pair<int, long>, int>& counts, unsigned long long stamp) {
    std::string sql;
    for (const auto& [cameraAndDay, count] : counts) {
        sql += Format("INSERT INTO recording_count (camera_id, day, count, stamp) "
                      "VALUES (%d, %ld, %d, %llu) "
                      "ON CONFLICT (camera_id, day) DO UPDATE "
                      "SET count = recording_count.count + excluded.count, stamp = excluded.stamp;",
                      cameraAndDay.first, cameraAndDay.second, count, stamp);
    }
    return sql;
}

// Only what differs is written: on a recorder that is in line the statement changes nothing.
constexpr const char* kRecountSql =
    "INSERT INTO recording_count (camera_id, day, count, stamp) "
    "SELECT camera_id, "
    "       (start_tm - ((start_tm %% 86400) + 86400) %% 86400) / 86400 AS day, count(*), %llu "
    "FROM event WHERE true GROUP BY 1, 2 "
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
    return recorder::AtEdge(-1, [&] {
        std::map<std::pair<int, long>, int> counts;
        for (const auto& [camId, startTm] : recordings) {
            ++counts[{camId, recorder::DayOf(startTm)}];
        }
        const unsigned long long now = recorder::NowUs();
        recorder::Execute(KRDB::DB_RECORDING, recorder::AddSql(counts, now));
        stamp = now;
        return 0;
    });
}

int RecordingCount::Recount() {
    return recorder::AtEdge(-1, [] {
        recorder::Execute(KRDB::DB_RECORDING,
                          recorder::Format(recorder::kRecountSql, recorder::NowUs()));
        return 0;
    });
}
