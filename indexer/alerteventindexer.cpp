#include "indexer/alerteventindexer.h"

#include "indexer/reindexlog.h"

namespace KRIndex {

namespace {

constexpr const char* kAlertRecordingDir = "laRec";
constexpr int kBatchCnt = 1000;
constexpr int kAlertEventTypeUnknown = 0;
constexpr int kDeviceTypeCamera = 1;

AlertEvent MakeAlertEvent(const Reidx::RecInfo& info, int camId) {
    AlertEvent event;
    event.SetDsId(0);
    event.SetCamId(camId);
    event.SetPath(info.path);
    event.SetStartTm(info.startTm);
    event.SetEndTm(info.endTm);
    event.SetSize(info.size);
    event.SetAlertEventType(kAlertEventTypeUnknown);
    event.SetDeviceType(kDeviceTypeCamera);
    event.SetVdoType(info.vdoType);
    event.SetAudFmt(GetAudioType(info.audType));
    event.SetImgW(info.imgWidth);
    event.SetImgH(info.imgHeight);
    return event;
}

} // namespace

AlertEventIndexer::AlertEventIndexer(const IndexerDbInfo& info) : EventIndexer(info) {}

int AlertEventIndexer::ProcessTgtDirs() {
    // NOLINTNEXTLINE(bugprone-parent-virtual-call): the notification comes before the clean-up
    const int result = Indexer::ProcessTgtDirs();
    NotifyAlertEventRefresh(0, 0, 0);
    ChkToRmEmptylDir();
    return result;
}

void AlertEventIndexer::DoAddDbRecords() {
    std::string sql;
    int batchCnt = 0;
    for (const Reidx::RecInfo& info : m_recList) {
        sql += MakeAlertEvent(info, m_camId).strSqlInsert();
        if (++batchCnt == kBatchCnt) {
            DoAddDbRecords(m_camId, sql);
            sql.clear();
            batchCnt = 0;
        }
        ++m_addCnt;
    }
    if (batchCnt != 0) {
        DoAddDbRecords(m_camId, sql);
    }
}

void AlertEventIndexer::DoAddDbRecords(int camId, const std::string& sql) {
    if (KRDB::Execute(KRDB::DB_RECORDING, sql, nullptr, false, true, true, true) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to add alert event records of cam [%d].\n", camId);
    }
}

void AlertEventIndexer::RemoveUnrefRecs() {
    const auto count = static_cast<int32_t>(m_fileRecIdMap.size());
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Found [%d] unreferenced alert event records.\n", count);
    if (m_fileRecIdMap.empty()) {
        return;
    }
    std::list<int> ids;
    for (const auto& [fileName, id] : m_fileRecIdMap) {
        ids.push_back(id);
    }
    if (AlertDelUnrefRecsFromDB(ids, m_camId) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR,
                    "Failed to rotate unreference alert event records of cam [%d].\n", m_camId);
    }
    m_rmCnt = count;
}

void AlertEventIndexer::Log() {
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Reindex alert event data of cam [%d] complete.\n", m_camId);
    if (m_addCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE, "Have add [%d] alert event DB records of cam [%d].\n",
                    m_addCnt, m_camId);
    }
    if (m_rmCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE,
                    "Have removed [%d] unreferenced alert event records of cam [%d].\n", m_rmCnt,
                    m_camId);
    }
}

std::string AlertEventIndexer::GetRecStoragePath() {
    return m_cam.GetStoragePath() + "/" + kAlertRecordingDir;
}

int AlertEventIndexer::GetRecInfo(Reidx::RecInfo& info, const std::string& fullPath) {
    return Reidx::GetEvtRecInfo(info, fullPath, true);
}

} // namespace KRIndex
