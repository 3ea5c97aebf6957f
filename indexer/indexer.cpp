#include "indexer/indexer.h"

#include "indexer/idlist.h"
#include "indexer/reindexlog.h"
#include "platform/utility.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>

namespace KRIndex {

namespace {

constexpr std::size_t kMapBucketHint = 10;

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

struct FreeResult {
    void operator()(DBResult_tag* result) const { KRDBFreeResult(result); }
};

// Reads the next entry into the caller's buffer; false at the end of the folder and on an error.
bool ReadEntry(DIR* dir, struct dirent64& buffer) {
    struct dirent64* entry = nullptr;
#pragma GCC diagnostic push
    // The re-entrant form is part of the walk's fixed behaviour: an entry that can't be held by the
    // caller's buffer ends the listing.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const int error = readdir64_r(dir, &buffer, &entry);
#pragma GCC diagnostic pop
    return error == 0 && entry != nullptr;
}

bool IsRegularFile(const struct dirent64& entry) {
    return std::strcmp(entry.d_name, ".") != 0 && std::strcmp(entry.d_name, "..") != 0 &&
           entry.d_type == DT_REG;
}

} // namespace

// The map's maximum load factor is 1.0, as it is by default.
Indexer::Indexer(const IndexerDbInfo& info) : m_dbInfo(info), m_fileRecIdMap(kMapBucketHint) {}

int Indexer::Start() {
    if (Init() != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to init indexer.\n");
        return -1;
    }
    ProcessTgtDirs();
    Log();
    return m_addCnt + m_rmCnt;
}

int Indexer::Init() {
    if (clock_gettime(CLOCK_REALTIME, &m_startTime) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to get start time with errno [%d].\n", errno);
        return -1;
    }
    if (InitTgtDirList() != 0) {
        return -1;
    }
    if (InitFileRecIdMap() != 0) {
        return -1;
    }
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Init complete [start_time: %ld] [size of record: %ld].\n",
                m_startTime.tv_sec, static_cast<long>(m_fileRecIdMap.size()));
    return 0;
}

int Indexer::ProcessTgtDirs() {
    for (const std::string& dir : m_tgtDirList) {
        ProcessDirAndFiles(dir);
    }
    DoAddDbRecords();
    RemoveUnrefRecs();
    return 0;
}

std::string Indexer::GetFileRecIdSql() {
    return StringPrintf("SELECT %s as id, %s as path FROM %s;", m_dbInfo.idColumn.c_str(),
                        m_dbInfo.pathColumn.c_str(), m_dbInfo.table.c_str());
}

int Indexer::InitFileRecIdMap() {
    m_fileRecIdMap.clear();

    DBResult_tag* rows = nullptr;
    const int error = KRDB::Execute(m_dbInfo.db, GetFileRecIdSql(), &rows, false, true, true, true);
    const std::unique_ptr<DBResult_tag, FreeResult> owner(rows);
    if (error != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to init file-recordId map.\n");
        return -1;
    }

    int row = 0;
    std::string path; // kept from row to row, as is its memory
    while (KRDBFetchRow(rows, &row) == 0) {
        const char* id = KRDBFetchField(rows, row, "id");
        const char* pathField = KRDBFetchField(rows, row, "path");
        if (id == nullptr || pathField == nullptr) {
            continue;
        }
        path = pathField;
        REINDEX_LOG(LOG_LEVEL_TRACE, "Map insert: (%s, %s)\n", GetBaseName(path).c_str(), id);
        m_fileRecIdMap.try_emplace(GetBaseName(path),
                                   static_cast<int32_t>(std::strtol(id, nullptr, 10)));
    }
    return 0;
}

void Indexer::RemoveUnrefRecs() {
    const auto count = static_cast<int32_t>(m_fileRecIdMap.size());
    REINDEX_LOG(LOG_LEVEL_DETAIL, "Found [%d] records.\n", count);
    if (m_fileRecIdMap.empty()) {
        return;
    }
    const std::string sql =
        StringPrintf("DELETE FROM %s WHERE %s IN (%s);", m_dbInfo.table.c_str(),
                     m_dbInfo.idColumn.c_str(), JoinRecordIds(m_fileRecIdMap).c_str());
    if (KRDB::Execute(m_dbInfo.db, sql, nullptr, false, true, true, true) != 0) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to remove unreference records.\n");
    }
    m_rmCnt = count;
}

void Indexer::DoAddDbRecords() {}

void Indexer::ProcessDirAndFiles(const std::string& dir) {
    const std::unique_ptr<DIR, CloseDir> handle(opendir(dir.c_str()));
    if (!handle) {
        REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to opendir [%s] with errno [%d].\n", dir.c_str(),
                    errno);
        return;
    }

    std::string fullPath = dir + "/";
    const std::size_t prefixLength = fullPath.size();
    std::string fileName;
    struct dirent64 entry;
    struct stat64 st = {}; // kept from file to file: a file that vanished is handled all the same
    while (ReadEntry(handle.get(), entry)) {
        if (!IsRegularFile(entry)) {
            continue;
        }
        fileName = entry.d_name;
        fullPath.replace(prefixLength, std::string::npos, fileName);
        if (stat64(fullPath.c_str(), &st) != 0 && errno != ENOENT) {
            REINDEX_LOG(LOG_LEVEL_ERROR, "Failed to stat file [%s] with errno [%d].\n",
                        fullPath.c_str(), errno);
            continue;
        }
        ProcessFile(fullPath, fileName, st);
    }
}

bool Indexer::IsModifiedAfterStart(const struct stat64& st) const {
    if (m_startTime.tv_sec != st.st_ctim.tv_sec) {
        return m_startTime.tv_sec < st.st_ctim.tv_sec;
    }
    return m_startTime.tv_nsec < st.st_ctim.tv_nsec;
}

} // namespace KRIndex
