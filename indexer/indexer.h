// The base of all indexers: what they share, and the sequence in which a run goes.

#pragma once

#include "platform/database.h"
#include "platform/recording.h"

#include <cstdint>
#include <ctime>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

#include <sys/stat.h>

namespace KRIndex {

// The table that holds one row per media file of a kind.
struct IndexerDbInfo {
    KRDB::DB_INSTANCE db = KRDB::DB_NONE;
    std::string table;
    std::string idColumn = "id";
    std::string pathColumn = "filename";
};

// Brings the rows of one kind of media in line with its files. Constructed, started once,
// destroyed.
class Indexer {
public:
    virtual ~Indexer() = default;
    Indexer(const Indexer&) = delete;
    Indexer& operator=(const Indexer&) = delete;
    Indexer(Indexer&&) = delete;
    Indexer& operator=(Indexer&&) = delete;

    // Runs Init, ProcessTgtDirs and Log. Returns the number of rows added plus removed, as
    // attempted; -1 when Init failed, and then nothing else ran.
    int Start();

protected:
    explicit Indexer(const IndexerDbInfo& info);

    // The order of the virtual operations is fixed.

    // Takes the start time, fills the target folders and the file-to-record map. 0 or -1.
    virtual int Init();

    // Walks the target folders, adds the pending records, removes the unreferenced ones. Always 0.
    virtual int ProcessTgtDirs();

    // Fills m_tgtDirList. Nonzero is failure and ends the run.
    virtual int InitTgtDirList() = 0;

    // The SELECT of the rows that the map is filled from, with columns "id" and "path".
    virtual std::string GetFileRecIdSql();

    // Deletes the rows left in the map, in one statement, and sets m_rmCnt.
    virtual void RemoveUnrefRecs();

    // Writes m_recList to the database, where the kind of media has rows to add.
    virtual void DoAddDbRecords();

    // Handles one regular file of a target folder. The result has no meaning.
    virtual int ProcessFile(const std::string& fullPath, const std::string& fileName,
                            const struct stat64& st) = 0;

    // Writes the summary of the run.
    virtual void Log() = 0;

    // 0 on success; -1 when the query failed, and then the map is empty.
    int InitFileRecIdMap();

    // Hands every regular file that lies directly in `dir` to ProcessFile.
    void ProcessDirAndFiles(const std::string& dir);

    // Whether the file's status changed after the run began; to the nanosecond, equal is not after.
    [[nodiscard]] bool IsModifiedAfterStart(const struct stat64& st) const;

    int32_t m_addCnt = 0; // records added, as attempted
    int32_t m_rmCnt = 0;  // records removed, as attempted
    struct timespec m_startTime = {};
    IndexerDbInfo m_dbInfo;

    // File name to record id, of the rows whose file has not been found yet. Of several rows with
    // the same file name only the first is in it.
    std::unordered_map<std::string, int32_t> m_fileRecIdMap;

    std::list<std::string> m_tgtDirList;   // folders to walk, in order
    std::vector<Reidx::RecInfo> m_recList; // records to add
};

} // namespace KRIndex
