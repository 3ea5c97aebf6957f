#include "indexer/eventindexer.h"

#include "indexer/idlist.h"
#include "indexer/reindexlog.h"
#include "platform/snapshot.h"
#include "platform/utility.h"

#include <cstdlib>

namespace KRIndex {

namespace {

constexpr const char* kHalfDayDirPattern = "^[0-9]{8}[AP]M$";
constexpr const char* kRecordingPattern =
    ".*[0-9]{8}-[0-9]{6}-[0-9]{10}((|-LOCK)\\.(mp4|avi|mxg))$";
constexpr int kMaxBatchCnt = 999; // a batch is written as soon as it holds more

// Gives each event the id of its row: the rows come in the order of the events.
void SetRowIds(std::list<Event>& events, DBResult_tag* rows, unsigned long long stamp) {
    int row = 0;
    for (Event& event : events) {
        KRDBFetchRow(rows, &row);
        const char* id = KRDBFetchField(rows, row, "id");
        event.SetId(id == nullptr ? 0 : static_cast<int>(std::strtol(id, nullptr, 10)));
        event.SetRecCntTimestamp(stamp);
    }
}

} // namespace

EventIndexer::EventIndexer(const IndexerDbInfo& info) : Indexer(info) {}

int EventIndexer::Init() {
    if (m_camId == 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Invalid cam id.\n");
        return -1;
    }
    if (m_cam.Load(m_camId, 0, 0) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to load camera [%d]\n", m_camId);
        return -1;
    }
    return Indexer::Init();
}

int EventIndexer::ProcessTgtDirs() {
    const int result = Indexer::ProcessTgtDirs();
    ChkToRmEmptylDir();
    return result;
}

int EventIndexer::InitTgtDirList() {
    const std::string dir = GetRecStoragePath();
    if (!IsExistDir(dir)) {
        REINDEX_LOG(LOG_LEVEL_INFO, "Target source dir [%s] doesn't exist.\n", dir.c_str());
        return 0;
    }
    return GetDirsInDir(dir, m_tgtDirList, true, false, kHalfDayDirPattern);
}

std::string EventIndexer::GetFileRecIdSql() {
    return StringPrintf("SELECT %s as id, %s as path FROM %s WHERE camera_id = %d;",
                        m_dbInfo.idColumn.c_str(), m_dbInfo.pathColumn.c_str(),
                        m_dbInfo.table.c_str(), m_camId);
}

int EventIndexer::ProcessFile(const std::string& fullPath, const std::string& fileName,
                              const struct stat64& st) {
    if (m_fileRecIdMap.erase(fileName) != 0) {
        return 0;
    }
    if (IsModifiedAfterStart(st)) {
        REINDEX_LOG(LOG_LEVEL_DETAIL, "Skip file [%s] modified after task start time.\n",
                    fullPath.c_str());
        return 0;
    }
    if (!KRRegEx(kRecordingPattern).IsMatch(fileName)) {
        REINDEX_LOG(LOG_LEVEL_DETAIL, "Event [%s] doesn't match naming pattern.\n",
                    fileName.c_str());
        return 0;
    }
    Reidx::RecInfo info;
    if (GetRecInfo(info, fullPath) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to get rec info of event [%s]\n", fullPath.c_str());
    }
    REINDEX_LOG(LOG_LEVEL_DETAIL,
                "Add recording [%s] info: Size: [%u], Start [%d], End [%d], Duration: [%d], "
                "VdoType: [%d], AdoType: [%d], Resolution: [%dx%d].\n",
                fullPath.c_str(), static_cast<unsigned int>(info.size),
                static_cast<int>(info.startTm), static_cast<int>(info.endTm), info.duration,
                info.vdoType, info.audType, info.imgWidth, info.imgHeight);
    m_recList.push_back(info);
    return 0;
}

void EventIndexer::DoAddDbRecords() {
    std::string sql;
    std::list<std::pair<int, long>> recCnts;
    std::list<Event> events;
    int batchCnt = 0;

    const auto writeBatch = [&] {
        DoAddDbRecords(m_camId, sql, recCnts, events);
        sql.clear();
        recCnts.clear();
        events.clear();
        batchCnt = 0;
    };

    for (const Reidx::RecInfo& info : m_recList) {
        Event event;
        Reidx::FillEvtInfo(event, info, 0, m_camId, 0, 1);
        sql += event.strSqlInsert();
        recCnts.emplace_back(m_camId, info.startTm);
        events.push_back(event);
        if (++batchCnt > kMaxBatchCnt) {
            writeBatch();
        }
        ++m_addCnt;
    }
    if (batchCnt != 0) {
        writeBatch();
    }
}

void EventIndexer::DoAddDbRecords(int camId, const std::string& sql,
                                  const std::list<std::pair<int, long>>& recCnts,
                                  std::list<Event>& events) {
    Camera camera;
    if (camera.Load(camId, 0, 0) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to load cam [%d].\n", camId);
        return;
    }
    DBResult_tag* rows = nullptr;
    if (KRDB::Execute(KRDB::DB_RECORDING, sql, &rows, false, true, true, true) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to add event records of cam [%d].\n", camId);
        return;
    }
    unsigned long long stamp = 0;
    if (RecordingCount::AddRecCounts(recCnts, stamp) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to update recording count of cam [%d].\n", camId);
    }
    SetRowIds(events, rows, stamp);
    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);
    KRDBFreeResult(rows);
}

void EventIndexer::RemoveUnrefRecs() {
    const auto count = static_cast<int32_t>(m_fileRecIdMap.size());
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Found [%d] unreferenced event records.\n", count);
    if (m_fileRecIdMap.empty()) {
        return;
    }
    EventFilterParam filter;
    filter.limit = 0;
    filter.idList = JoinRecordIds(m_fileRecIdMap);
    if (DelUnrefRecsFromDB(filter) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR,
                    "Failed to delete unreference event records of cam [%d] from DB.\n", m_camId);
    }
    m_rmCnt = count;
}

void EventIndexer::ChkToRmEmptylDir() {
    std::list<std::string> dirs = m_tgtDirList;
    std::list<std::string> thumbnailDirs;
    GetDirsInDir(GetRecThmbnailDirPath(GetRecStoragePath()), thumbnailDirs, true, false, "");
    dirs.splice(dirs.end(), thumbnailDirs);
    for (const std::string& dir : dirs) {
        if (IsDirEmpty(dir)) {
            REINDEX_LOG(LOG_LEVEL_DETAIL, "Remove dir [%s].\n", dir.c_str());
            KRRm(dir);
        }
    }
}

void EventIndexer::Log() {
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Reindex event data of cam [%d] complete.\n", m_camId);
    if (m_addCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE, "Have add [%d] event DB records of cam [%d].\n", m_addCnt,
                    m_camId);
    }
    if (m_rmCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE, "Have removed [%d] unreferenced event records of cam [%d].\n",
                    m_rmCnt, m_camId);
    }
}

std::string EventIndexer::GetRecStoragePath() {
    return m_cam.GetStoragePath();
}

int EventIndexer::GetRecInfo(Reidx::RecInfo& info, const std::string& fullPath) {
    return Reidx::GetEvtRecInfo(info, fullPath, false);
}

} // namespace KRIndex
