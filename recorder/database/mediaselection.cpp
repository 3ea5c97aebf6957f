#include "recorder/database/mediaselection.h"

#include "recorder/database/sqltext.h"

#include <algorithm>
#include <functional>

namespace recorder {

namespace {

template <typename Value> bool Contains(const std::vector<Value>& values, const Value& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

} // namespace

bool HasCameras(const MediaTable& table) {
    return Contains<std::string>(table.columns, "camera_id");
}

bool MediaSelection::IncludesKind(const MediaTable& table) const {
    return kinds.empty() ? cameras.empty() || HasCameras(table) : Contains(kinds, table.name);
}

bool MediaSelection::Includes(const std::string& table, int camId) const {
    return std::any_of(MediaTables().begin(), MediaTables().end(), [&](const MediaTable& media) {
        return media.name == table && IncludesKind(media) &&
               (cameras.empty() || !HasCameras(media) || Contains(cameras, camId));
    });
}

std::string MediaSelection::RowsSql(const MediaTable& table) const {
    return cameras.empty() || !HasCameras(table)
               ? "1 = 1"
               : "camera_id IN (" + JoinIds(cameras, std::identity()) + ")";
}

} // namespace recorder
