#include "platform/database.h"
#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/recording/evidence.h"
#include "recorder/run/brake.h"
#include "recorder/run/pacedremoval.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"
#include "recorder/support/medianames.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <functional>
#include <span>
#include <vector>

namespace recorder {

namespace {

void CheckFilter(const EventFilterParam& filter) {
    if (filter.limit != 0) {
        throw Error("can't remove rows by a filter with the limit " + std::to_string(filter.limit) +
                    ": expected 0, no limit");
    }
}

// The ids arrive in the order of a hash map. The engines find sorted ids in half the time.
std::vector<long> SortedIds(const std::string& idList) {
    std::vector<long> ids;
    const char* const end = idList.data() + idList.size();
    for (const char* at = idList.data(); at != end;) {
        long id = 0;
        const auto [stop, error] = std::from_chars(at, end, id);
        if (*at == '-' || error != std::errc() || (stop != end && *stop != ',') ||
            stop + 1 == end) {
            throw Error("can't remove rows by the ids \"" + idList +
                        "\": expected numbers separated by commas");
        }
        ids.push_back(id);
        at = stop == end ? end : stop + 1;
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

// The evidence for the rows in blocks of kRowsOfBlock.
std::vector<Evidence> ReadEvidence(const std::string& table, const std::vector<long>& ids,
                                   const std::string& restriction, const std::string& subFolder) {
    std::vector<Evidence> evidence;
    for (std::size_t first = 0; first < ids.size(); first += kRowsOfBlock) {
        const std::span<const long> block =
            std::span(ids).subspan(first, std::min(kRowsOfBlock, ids.size() - first));
        const std::string idList = JoinIds(block, std::identity());
        evidence.emplace_back(table, RowsWithIds(KRDB::DB_RECORDING, table, idList) + restriction,
                              subFolder);
    }
    return evidence;
}

// `removed` of `rows` rows have been removed before, for the message.
void RequireEvidence(std::span<const Evidence> blocks, std::size_t removed, std::size_t rows) {
    try {
        for (const Evidence& block : blocks) {
            block.Require();
        }
    } catch (const std::exception& error) {
        const std::string why = ShareRemoved(removed, rows) + ": " + error.what();
        NoteRefusal(why);
        throw Error(why);
    }
}

RowsByCamera RowsOf(std::span<const Evidence> blocks) {
    RowsByCamera rows;
    for (const Evidence& block : blocks) {
        block.AddRows(rows);
    }
    return rows;
}

// Removes the rows with these ids that fulfil the SQL restriction, after the evidence for all of
// them was checked. It is checked again before each transaction for the rows in it, because a disk
// can disappear or a file appear between two transactions.
int RemoveUnreferenced(const std::string& table, const std::vector<long>& ids,
                       const std::string& restriction, const std::string& subFolder) {
    const std::vector<Evidence> evidence = ReadEvidence(table, ids, restriction, subFolder);
    RequireEvidence(evidence, 0, ids.size());
    RequireWithinLimit(KRDB::DB_RECORDING, table, RowsOf(evidence));
    RemoveRows(KRDB::DB_RECORDING, table, ids, [&](std::size_t first, std::size_t end) {
        const std::size_t firstBlock = first / kRowsOfBlock;
        const std::size_t endBlock = (end + kRowsOfBlock - 1) / kRowsOfBlock;
        RequireEvidence(std::span(evidence).subspan(firstBlock, endBlock - firstBlock), first,
                        ids.size());
        return restriction;
    });
    return 0;
}

} // namespace

} // namespace recorder

int DelUnrefRecsFromDB(EventFilterParam filter) {
    return recorder::LogExceptions(-1, [&] {
        recorder::CheckFilter(filter);
        return recorder::RemoveUnreferenced(gszTableEvent, recorder::SortedIds(filter.idList), "",
                                            "");
    });
}

int AlertDelUnrefRecsFromDB(const std::list<int>& ids, int camId) {
    return recorder::LogExceptions(-1, [&] {
        std::vector<long> sorted(ids.begin(), ids.end());
        std::sort(sorted.begin(), sorted.end());
        return recorder::RemoveUnreferenced(gszTableAlertEvent, sorted,
                                            " AND camera_id = " + std::to_string(camId),
                                            recorder::kAlertRecordingDirName);
    });
}
