// The indexer of one camera's alert recordings.

#pragma once

#include "indexer/eventindexer.h"

namespace KRIndex {

class AlertEventIndexer : public EventIndexer {
public:
    explicit AlertEventIndexer(const IndexerDbInfo& info);

protected:
    int ProcessTgtDirs() override;
    void RemoveUnrefRecs() override;
    void DoAddDbRecords() override;
    void Log() override;
    std::string GetRecStoragePath() override;
    int GetRecInfo(Reidx::RecInfo& info, const std::string& fullPath) override;

private:
    // Writes one batch of rows.
    void DoAddDbRecords(int camId, const std::string& sql);
};

} // namespace KRIndex
