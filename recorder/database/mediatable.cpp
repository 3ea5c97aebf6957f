#include "recorder/database/mediatable.h"

#include "recorder/support/error.h"

#include <algorithm>

namespace recorder {

namespace {

std::vector<std::string> EventColumns() {
    return {"ds_id", "camera_id", "path",    "start_tm", "end_tm",
            "size",  "vdo_type",  "aud_fmt", "img_w",    "img_h"};
}

std::vector<std::string> AlertEventColumns() {
    std::vector<std::string> columns = EventColumns();
    columns.insert(columns.end(), {"alert_event_type", "device_type"});
    return columns;
}

} // namespace

const std::vector<MediaTable>& MediaTables() {
    static const std::vector<MediaTable> tables{
        {KRDB::DB_RECORDING,
         gszTableEvent,
         "recordings",
         EventColumns(),
         true,
         {"camera_id", "path"}},
        {KRDB::DB_RECORDING,
         gszTableAlertEvent,
         "alert recordings",
         AlertEventColumns(),
         false,
         {"camera_id", "path"}},
        {KRDB::DB_SNAPSHOT,
         gszTableSnapshot,
         "snapshots",
         {"filename", "start_tm", "size"},
         false,
         {"filename"}},
        {KRDB::DB_SYSTEM, gszTableEmap, "e-maps", {"filename"}},
    };
    return tables;
}

const MediaTable& MediaTableOf(const std::string& name) {
    const auto found = std::find_if(MediaTables().begin(), MediaTables().end(),
                                    [&](const MediaTable& table) { return table.name == name; });
    if (found == MediaTables().end()) {
        throw Error("the table " + name + " is not one of media files");
    }
    return *found;
}

std::string ColumnList(const std::vector<std::string>& columns, const std::string& prefix) {
    std::string list;
    for (const std::string& column : columns) {
        list += (list.empty() ? "" : ", ") + prefix + column;
    }
    return list;
}

} // namespace recorder
