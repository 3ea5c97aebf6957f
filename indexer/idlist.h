// The text form of the record ids that a statement or a filter names.

#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace KRIndex {

// The ids of all entries in the map's own order, in decimal, separated by ",".
[[nodiscard]] inline std::string
JoinRecordIds(const std::unordered_map<std::string, int32_t>& fileRecIds) {
    std::string text;
    for (const auto& [fileName, id] : fileRecIds) {
        if (!text.empty()) {
            text += ',';
        }
        text += std::to_string(id);
    }
    return text;
}

} // namespace KRIndex
