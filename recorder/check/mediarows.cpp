#include "recorder/check/mediarows.h"

#include "recorder/camera/usablestorage.h"
#include "recorder/database/databases.h"
#include "recorder/database/mediaselection.h"
#include "recorder/database/sqltext.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/medianames.h"
#include "recorder/support/paths.h"

#include <algorithm>
#include <optional>

namespace recorder {

namespace {

// Some megabytes. A page is one query, so that a check holds no reader in the database for long.
constexpr int kRowsOfPage = 20000;

bool HasColumn(const MediaTable& table, const std::string& column) {
    return std::find(table.columns.begin(), table.columns.end(), column) != table.columns.end();
}

std::string OfPartSql(const CheckedPart& part) {
    return HasCameras(part.table) ? "camera_id = " + std::to_string(part.camId) : "1 = 1";
}

std::string SelectSql(const CheckedPart& part, const std::string& condition) {
    return "SELECT id, " + ColumnList(part.table.columns) + " FROM " + part.table.name + " WHERE " +
           OfPartSql(part) + " AND " + condition;
}

MediaRow RowIn(const MediaTable& table, const DBResult_tag& rows, int row) {
    MediaRow media;
    media.id = rows.Long(row, "id");
    media.path = rows.Text(row, PathColumn(table));
    media.size = HasSize(table) ? rows.Long(row, "size") : 0;
    if (HasCameras(table)) {
        media.startTm = rows.Long(row, "start_tm");
        media.endTm = rows.Long(row, "end_tm");
        media.vdoType = rows.Int(row, "vdo_type");
        media.audFmt = rows.Text(row, "aud_fmt");
        media.imgW = rows.Int(row, "img_w");
        media.imgH = rows.Int(row, "img_h");
    }
    return media;
}

std::optional<MediaRow> FirstRow(const CheckedPart& part, const std::string& condition) {
    const DBResult_tag rows =
        Execute(part.table.instance, SelectSql(part, condition) + " LIMIT 1;", {.readOnly = true});
    return rows.RowCount() == 0 ? std::nullopt : std::optional(RowIn(part.table, rows, 0));
}

} // namespace

std::string PathColumn(const MediaTable& table) {
    return HasCameras(table) ? "path" : "filename";
}

bool HasSize(const MediaTable& table) {
    return HasColumn(table, "size");
}

long SizeInRow(const MediaTable& table, long size) {
    return table.name == gszTableSnapshot ? static_cast<int>(size) : size;
}

void ForEachRow(const CheckedPart& part, const std::function<void(const MediaRow&)>& take) {
    const std::string path = PathColumn(part.table);
    std::string after = path + " IS NOT NULL";
    for (;;) {
        // The id makes the order complete: two e-maps can have one name.
        const DBResult_tag rows = Execute(part.table.instance,
                                          SelectSql(part, after) + " ORDER BY " + path +
                                              ", id LIMIT " + std::to_string(kRowsOfPage) + ";",
                                          {.readOnly = true});
        if (rows.RowCount() == 0) {
            return;
        }
        MediaRow last;
        for (int row = 0; row < rows.RowCount(); ++row) {
            last = RowIn(part.table, rows, row);
            take(last);
        }
        after = "(" + path + ", id) > (" + Quote(last.path) + ", " + std::to_string(last.id) + ")";
    }
}

std::optional<RowPlace> PlaceOf(const MediaTable& table, const std::string& path) {
    const std::size_t slash = path.find('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const bool isPlace = HasCameras(table) ? IsHalfDayName(folder) : folder.empty();
    const bool isName =
        !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
    return isPlace && isName ? std::optional(RowPlace{folder, name}) : std::nullopt;
}

std::optional<MediaRow> FindRow(const CheckedPart& part, long id, const std::string& path) {
    return FirstRow(part, "id = " + std::to_string(id) + " AND " + PathColumn(part.table) + " = " +
                              Quote(path));
}

std::optional<MediaRow> FindRowOfPath(const CheckedPart& part, const std::string& path) {
    return FirstRow(part, PathColumn(part.table) + " = " + Quote(path));
}

bool IsUnchanged(const CheckedPart& part, const MediaRow& row) {
    return FindRow(part, row.id, row.path) == row;
}

bool HasRow(const CheckedPart& part, const std::string& path) {
    return FindRowOfPath(part, path).has_value();
}

std::string FolderOf(const CheckedPart& part) {
    if (part.table.name == gszTableSnapshot) {
        return GetSettings().snapshot.folder;
    }
    if (part.table.name == gszTableEmap) {
        return kEmapDir;
    }
    const std::string storage = UsableStoragePath(part.camId);
    return part.table.name == gszTableAlertEvent ? storage + "/" + kAlertRecordingDirName : storage;
}

} // namespace recorder
