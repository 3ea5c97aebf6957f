// The indexer of one camera's recordings.

#pragma once

#include "indexer/indexer.h"
#include "platform/camera.h"
#include "platform/recording.h"

#include <list>
#include <string>
#include <utility>

namespace KRIndex {

class EventIndexer : public Indexer {
public:
    explicit EventIndexer(const IndexerDbInfo& info);

    int32_t m_camId = 0; // set between construction and Start

protected:
    int Init() override;
    int ProcessTgtDirs() override;
    int InitTgtDirList() override;
    std::string GetFileRecIdSql() override;
    void RemoveUnrefRecs() override;
    void DoAddDbRecords() override;
    int ProcessFile(const std::string& fullPath, const std::string& fileName,
                    const struct stat64& st) override;
    void Log() override;

    // The folder whose half-day folders hold the recordings.
    virtual std::string GetRecStoragePath();

    // Fills `info` from the recording at `fullPath`. 0 on success; `info` is used in any case.
    virtual int GetRecInfo(Reidx::RecInfo& info, const std::string& fullPath);

    // Removes the half-day folders and the thumbnail folders that are empty.
    void ChkToRmEmptylDir();

    Camera m_cam;

private:
    // Writes one batch: rows, counts, ids, notification.
    void DoAddDbRecords(int camId, const std::string& sql,
                        const std::list<std::pair<int, long>>& recCnts, std::list<Event>& events);
};

} // namespace KRIndex
