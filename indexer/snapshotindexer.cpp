#include "indexer/snapshotindexer.h"

#include "indexer/reindexlog.h"
#include "platform/snapshot.h"
#include "platform/utility.h"

#include <algorithm>

namespace KRIndex {

namespace {

constexpr const char* kSnapshotPattern = ".*-[0-9]{8}-[0-9]{10}\\.jpg$";
constexpr const char* kModifiedPattern = ".*-[0-9]{8}-[0-9]{10}-Modified-[0-9]+\\.jpg$";
constexpr int kBatchCnt = 1000;

// When the picture was taken, as far as its file tells: the earliest of its times.
int64_t EarliestTime(const struct stat64& st) {
    return std::min({st.st_mtim.tv_sec, st.st_ctim.tv_sec, st.st_atim.tv_sec});
}

void ChkToCreateThumbnail(const std::string& fullPath, const std::string& fileName) {
    if (IsFileExist(GetDirPath(fullPath) + "/@Thumbnail/" + fileName)) {
        return;
    }
    if (CreateThumbnail(fullPath) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to create thumbnail for snapshot [%s].\n",
                    fullPath.c_str());
    }
}

void AddSnapshotRecords(const std::string& sql) {
    if (KRDB::Execute(KRDB::DB_SNAPSHOT, sql, nullptr, false, true, true, true) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to add snapshot records.\n");
    }
}

} // namespace

SnapshotIndexer::SnapshotIndexer(const IndexerDbInfo& info) : Indexer(info) {}

int SnapshotIndexer::InitTgtDirList() {
    m_tgtDirList.push_back(GetSnapshotFullPath());
    return 0;
}

int SnapshotIndexer::ProcessFile(const std::string& fullPath, const std::string& fileName,
                                 const struct stat64& st) {
    const auto record = m_fileRecIdMap.find(fileName);
    const KRRegEx snapshotName(kSnapshotPattern);
    const KRRegEx modifiedName(kModifiedPattern);
    if (record != m_fileRecIdMap.end()) {
        m_fileRecIdMap.erase(record);
        return 0;
    }
    if (IsModifiedAfterStart(st)) {
        REINDEX_LOG(LOG_LEVEL_DETAIL, "Skip file [%s] modified after task start time.\n",
                    fullPath.c_str());
        return 0;
    }
    if (!snapshotName.IsMatch(fileName) && !modifiedName.IsMatch(fileName)) {
        REINDEX_LOG(LOG_LEVEL_DETAIL, "Snapshot [%s] doesn't match naming pattern.\n",
                    fileName.c_str());
        return 0;
    }
    Reidx::RecInfo info;
    info.size = static_cast<uint64_t>(st.st_size);
    info.startTm = EarliestTime(st);
    info.path = fileName;
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Add snapshot [%s] record: startTm: [%d], size: [%u].\n",
                fullPath.c_str(), static_cast<int>(info.startTm),
                static_cast<unsigned int>(info.size));
    m_recList.push_back(info);
    ChkToCreateThumbnail(fullPath, fileName);
    return 0;
}

void SnapshotIndexer::DoAddDbRecords() {
    const std::string dir = GetSnapshotFullPath();
    std::string sql;
    int batchCnt = 0;
    for (const Reidx::RecInfo& info : m_recList) {
        sql += ReindexSnapshotSql(dir + "/" + info.path, info.path, info.startTm,
                                  static_cast<int>(info.size));
        ++m_addCnt;
        if (++batchCnt == kBatchCnt) {
            AddSnapshotRecords(sql);
            sql.clear();
            batchCnt = 0;
        }
    }
    if (batchCnt != 0) {
        AddSnapshotRecords(sql);
    }
}

void SnapshotIndexer::Log() {
    REINDEX_LOG(LOG_LEVEL_INFO, "Reindex snapshot data complete.\n");
    if (m_addCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE, "Have add [%d] snapshot DB records.\n", m_addCnt);
    }
    if (m_rmCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE, "Have removed [%d] unreferenced snapshot records.\n",
                    m_rmCnt);
    }
}

} // namespace KRIndex
