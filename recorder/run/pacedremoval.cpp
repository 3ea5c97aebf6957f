#include "recorder/run/pacedremoval.h"

#include "recorder/database/databases.h"
#include "recorder/database/idlist.h"
#include "recorder/run/run.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <span>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

// Others wait for as long as a transaction takes, and then for their next attempt. The fewer
// transactions, the fewer pauses between them.
constexpr std::chrono::milliseconds kTargetTime{60};
constexpr std::size_t kMostBlocks = 16;

// How many blocks the next transaction may have, by the time that the one before took.
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
    for (std::size_t first = 0; first < ids.size();) {
        if (first > 0) {
            LetOthersWrite(instance);
        }
        const std::size_t end = std::min(first + blocks * kRowsOfBlock, ids.size());
        const std::string restriction = requireRemovable(first, end);
        try {
            const std::span<const long> chunk = std::span(ids).subspan(first, end - first);
            blocks = NextBlocks(blocks, RemoveAtOnce(instance, table, chunk, restriction));
        } catch (const std::exception& error) {
            throw Error(ShareRemoved(first, ids.size()) + ": " + error.what());
        }
        first = end;
    }
}

} // namespace recorder
