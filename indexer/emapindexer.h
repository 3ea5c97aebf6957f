// The indexer of the e-map images: rows whose image is gone are removed, nothing is ever added.

#pragma once

#include "indexer/indexer.h"

namespace KRIndex {

class EmapIndexer : public Indexer {
public:
    explicit EmapIndexer(const IndexerDbInfo& info);

protected:
    int InitTgtDirList() override;
    void DoAddDbRecords() override;
    int ProcessFile(const std::string& fullPath, const std::string& fileName,
                    const struct stat64& st) override;
    void Log() override;
};

} // namespace KRIndex
