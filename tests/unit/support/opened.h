// Indexers whose protected members are accessible to tests.

#pragma once

#include "indexer/indexer.h"

namespace unit {

template <typename Kind> class Opened : public Kind {
public:
    using Kind::Kind;

    using Kind::InitTgtDirList;
    using Kind::ProcessFile;
    using Kind::ProcessTgtDirs;
    using Kind::RemoveUnrefRecs;

    using Kind::m_addCnt;
    using Kind::m_fileRecIdMap;
    using Kind::m_recList;
    using Kind::m_rmCnt;
    using Kind::m_tgtDirList;
};

// Like Opened, for a kind that indexes a camera's recordings.
template <typename Kind> class OpenedForCamera : public Opened<Kind> {
public:
    OpenedForCamera(const KRIndex::IndexerDbInfo& info, int camId) : Opened<Kind>(info) {
        this->m_camId = camId;
    }

    using Kind::GetRecInfo;
    using Kind::GetRecStoragePath;
    using Kind::m_cam;
};

} // namespace unit
