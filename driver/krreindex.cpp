#include "driver/krreindex.h"

#include "indexer/alerteventindexer.h"
#include "indexer/emapindexer.h"
#include "indexer/eventindexer.h"
#include "indexer/reindexlog.h"
#include "indexer/snapshotindexer.h"

namespace {

constexpr int kFailed = -1;
constexpr const char* kRecordingPathColumn = "path";

} // namespace

int ReindexEmap() {
    KRIndex::IndexerDbInfo info;
    info.db = KRDB::DB_SYSTEM;
    info.table = gszTableEmap;

    KRIndex::EmapIndexer indexer(info);
    const int result = indexer.Start();
    if (result == kFailed) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to re-index emap.\n");
    }
    return result;
}

int ReindexSnapshot() {
    KRIndex::IndexerDbInfo info;
    info.db = KRDB::DB_SNAPSHOT;
    info.table = gszTableSnapshot;

    KRIndex::SnapshotIndexer indexer(info);
    const int result = indexer.Start();
    if (result == kFailed) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to re-index snapshot.\n");
    }
    return result;
}

int ReindexEvent(int camId) {
    KRIndex::IndexerDbInfo info;
    info.db = KRDB::DB_RECORDING;
    info.table = gszTableEvent;
    info.pathColumn = kRecordingPathColumn;

    KRIndex::EventIndexer indexer(info);
    indexer.m_camId = camId;
    const int result = indexer.Start();
    if (result == kFailed) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to reindex event of cam [%d].\n", camId);
    }
    return result;
}

int ReindexAlertEvent(int camId) {
    KRIndex::IndexerDbInfo info;
    info.db = KRDB::DB_RECORDING;
    info.table = gszTableAlertEvent;
    info.pathColumn = kRecordingPathColumn;

    KRIndex::AlertEventIndexer indexer(info);
    indexer.m_camId = camId;
    const int result = indexer.Start();
    if (result == kFailed) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to reindex alert event of cam [%d].\n", camId);
    }
    return result;
}
