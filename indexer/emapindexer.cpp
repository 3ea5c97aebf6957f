#include "indexer/emapindexer.h"

#include "indexer/reindexlog.h"

namespace KRIndex {

namespace {

constexpr const char* kEmapDir = "/var/packages/Kestora/target/@KREmap";
constexpr const char* kThumbnailPrefix = "thumb_";

} // namespace

EmapIndexer::EmapIndexer(const IndexerDbInfo& info) : Indexer(info) {}

int EmapIndexer::InitTgtDirList() {
    m_tgtDirList.emplace_back(kEmapDir);
    return 0;
}

void EmapIndexer::DoAddDbRecords() {}

int EmapIndexer::ProcessFile(const std::string& /*fullPath*/, const std::string& fileName,
                             const struct stat64& /*st*/) {
    if (fileName.starts_with(kThumbnailPrefix)) {
        return 0;
    }
    m_fileRecIdMap.erase(fileName);
    return 0;
}

void EmapIndexer::Log() {
    REINDEX_LOG(LOG_LEVEL_INFO, "Reindex emap data complete.\n");
    if (m_rmCnt > 0) {
        REINDEX_LOG(LOG_LEVEL_NOTICE, "Have removed [%d] unreferenced emap records.\n", m_rmCnt);
    }
}

} // namespace KRIndex
