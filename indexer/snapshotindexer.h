// The indexer of the snapshot pictures.

#pragma once

#include "indexer/indexer.h"

namespace KRIndex {

class SnapshotIndexer : public Indexer {
public:
    explicit SnapshotIndexer(const IndexerDbInfo& info);

protected:
    int InitTgtDirList() override;
    void DoAddDbRecords() override;
    int ProcessFile(const std::string& fullPath, const std::string& fileName,
                    const struct stat64& st) override;
    void Log() override;
};

} // namespace KRIndex
