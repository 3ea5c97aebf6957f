// An indexer of the table "tbl" without a kind of media. It records the virtual operations that its
// base calls in the transcript, and makes the base's members accessible to tests.

#pragma once

#include "indexer/indexer.h"
#include "tests/fakes/scriptedplatform.h"

#include <list>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace unit {

class ProbeIndexer : public KRIndex::Indexer {
public:
    ProbeIndexer() : ProbeIndexer({KRDB::DB_RECORDING, "tbl", "rec_id", "file"}) {}
    explicit ProbeIndexer(const KRIndex::IndexerDbInfo& info) : Indexer(info) {}

    using Indexer::Init;
    using Indexer::InitFileRecIdMap;
    using Indexer::IsModifiedAfterStart;
    using Indexer::ProcessDirAndFiles;
    using Indexer::ProcessTgtDirs;
    using Indexer::RemoveUnrefRecs;

    using Indexer::m_addCnt;
    using Indexer::m_dbInfo;
    using Indexer::m_fileRecIdMap;
    using Indexer::m_recList;
    using Indexer::m_rmCnt;
    using Indexer::m_startTime;
    using Indexer::m_tgtDirList;

    // The script: the results of the operations, and the number of added rows.
    std::list<std::string> dirs;
    int dirListResult = 0;
    int processFileResult = 0;
    int added = 0;

    std::vector<struct stat64> stats; // the arguments of ProcessFile

protected:
    int InitTgtDirList() override {
        fakes::Platform().Note("InitTgtDirList()");
        m_tgtDirList.insert(m_tgtDirList.end(), dirs.begin(), dirs.end());
        return dirListResult;
    }
    void DoAddDbRecords() override {
        fakes::Platform().Note("DoAddDbRecords()");
        Indexer::DoAddDbRecords();
        m_addCnt += added;
    }
    int ProcessFile(const std::string& fullPath, const std::string& fileName,
                    const struct stat64& st) override {
        fakes::Platform().Note("ProcessFile(" + fullPath + ", " + fileName + ")");
        stats.push_back(st);
        m_fileRecIdMap.erase(fileName);
        return processFileResult;
    }
    void Log() override { fakes::Platform().Note("Log()"); }
};

} // namespace unit
