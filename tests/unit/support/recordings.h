// Runs of a camera's indexers, as the jobs start them, and names of recordings.

#pragma once

#include "indexer/alerteventindexer.h"
#include "indexer/eventindexer.h"

#include <array>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace unit {

constexpr const char* kRecording = "20140312-101500-1394590500.mp4";

inline int RunEventIndexer(int camId) {
    KRIndex::EventIndexer indexer({KRDB::DB_RECORDING, gszTableEvent, "id", "path"});
    indexer.m_camId = camId;
    return indexer.Start();
}

inline int RunAlertEventIndexer(int camId) {
    KRIndex::AlertEventIndexer indexer({KRDB::DB_RECORDING, gszTableAlertEvent, "id", "path"});
    indexer.m_camId = camId;
    return indexer.Start();
}

// The name of the nth of many recordings.
inline std::string RecordingName(int n) {
    std::array<char, 64> name{};
    std::snprintf(name.data(), name.size(), "20140312-101500-%010d.mp4", n);
    return name.data();
}

// The ids in the order in which the indexer iterates over its map of these rows.
inline std::vector<int> IdsInMapOrder(const std::vector<std::pair<std::string, int>>& rows) {
    std::unordered_map<std::string, int32_t> map(10);
    for (const auto& row : rows) {
        map.insert(row); // one by one: a map that is filled at once has another order
    }
    std::vector<int> ids;
    ids.reserve(map.size());
    for (const auto& [name, id] : map) {
        ids.push_back(id);
    }
    return ids;
}

// The ids as text, separated by `separator`.
inline std::string Joined(const std::vector<int>& ids, const std::string& separator) {
    std::string text;
    for (const int id : ids) {
        text += (text.empty() ? "" : separator) + std::to_string(id);
    }
    return text;
}

} // namespace unit
