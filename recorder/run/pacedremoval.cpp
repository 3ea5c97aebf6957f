#include "recorder/run/pacedremoval.h"

#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <span>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

// A writer waits until a transaction ends, and then until its own next attempt. Longer transactions
// need fewer pauses: each pause costs a quarter of this time.
constexpr std::chrono::milliseconds kTargetTime{100};
// The first transactions are short, because the speed of the machine is not known yet. Several of
// them follow each other without a pause.
constexpr std::chrono::milliseconds kTimeWithoutPause = kTargetTime / 2;
constexpr std::size_t kMostBlocks = 16;

// The number of blocks for the next transaction, from the time that the previous one took.
std::size_t NextBlocks(std::size_t blocks, Clock::duration took) {
    const auto fitting = blocks * kTargetTime / std::max<Clock::duration>(took, kTargetTime / 4);
    return std::clamp<std::size_t>(static_cast<std::size_t>(fitting), 1,
                                   std::min(2 * blocks, kMostBlocks));
}

Clock::duration RemoveAtOnce(KRDB::DB_INSTANCE instance, const std::string& table,
                             std::span<const long> ids, const std::string& restriction) {
    const std::string sql = "DELETE FROM " + table + " WHERE " +
                            HasIdOf(instance, JoinIds(ids, std::identity())) + restriction + ";";
    const Clock::time_point start = Clock::now();
    ExecuteInRun(instance, sql);
    return Clock::now() - start;
}

} // namespace

std::string ShareRemoved(std::size_t removed, std::size_t rows) {
    return removed == 0 ? "no row is removed"
                        : "only " + std::to_string(removed) + " of " + std::to_string(rows) +
                              " rows are removed";
}

void RemoveRows(KRDB::DB_INSTANCE instance, const std::string& table, const std::vector<long>& ids,
                const RequireRemovable& requireRemovable) {
    std::size_t blocks = 1;
    Clock::duration sincePause{};
    for (std::size_t first = 0; first < ids.size();) {
        if (sincePause >= kTimeWithoutPause) {
            LetOthersWrite(instance);
            sincePause = {};
        }
        const std::size_t end = std::min(first + blocks * kRowsOfBlock, ids.size());
        const std::string restriction = requireRemovable(first, end);
        try {
            const std::span<const long> chunk = std::span(ids).subspan(first, end - first);
            const Clock::duration took = RemoveAtOnce(instance, table, chunk, restriction);
            blocks = NextBlocks(blocks, took);
            sincePause += took;
        } catch (const std::exception& error) {
            throw Error(ShareRemoved(first, ids.size()) + ": " + error.what());
        }
        first = end;
    }
}

} // namespace recorder
