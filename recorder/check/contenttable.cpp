#include "recorder/check/contenttable.h"

#include "recorder/database/databases.h"
#include "recorder/database/mediaselection.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <ctime>

namespace recorder {

namespace {

// The condition for the entries of the part.
std::string OfPartSql(const CheckedPart& part) {
    return Format("content.kind = '%s' AND content.camera_id = %d", part.table.name.c_str(),
                  part.camId);
}

// The condition for the rows of the part.
std::string RowsSql(const CheckedPart& part) {
    return PathColumn(part.table) + " IS NOT NULL" +
           (HasCameras(part.table) ? " AND media.camera_id = " + std::to_string(part.camId) : "");
}

// The condition for the entry of a row, within a statement over the rows.
std::string OfRowSql(const CheckedPart& part) {
    return "content.kind = '" + part.table.name + "' AND content.row_id = media.id";
}

FileToRead FileIn(const DBResult_tag& rows, int row) {
    FileToRead file;
    file.rowId = rows.Long(row, "id");
    file.path = rows.Text(row, "path");
    file.examination = rows.Long(row, "examination");
    file.known = {rows.Text(row, "sha256"), rows.Long(row, "size"), rows.Long(row, "mtime_ns"),
                  rows.Long(row, "taken_tm")};
    return file;
}

std::string RecordSql(const CheckedPart& part, const FileToRead& file, long examination, long now) {
    return Format("INSERT INTO content (kind, row_id, camera_id, sha256, size, mtime_ns, taken_tm, "
                  "examined_tm, examination) VALUES ('%s', %ld, %d, '%s', %ld, %ld, %ld, %ld, %ld) "
                  "ON CONFLICT (kind, row_id) DO UPDATE SET sha256 = excluded.sha256, "
                  "size = excluded.size, mtime_ns = excluded.mtime_ns, "
                  "taken_tm = excluded.taken_tm, examined_tm = excluded.examined_tm, "
                  "examination = excluded.examination;",
                  part.table.name.c_str(), file.rowId, part.camId, file.known.sha256.c_str(),
                  file.known.size, file.known.mtimeNs, file.known.takenTm, now, examination);
}

} // namespace

long NewContentExamination() {
    long newest = 0;
    for (const MediaTable& table : MediaTables()) {
        const DBResult_tag rows =
            Execute(table.instance, "SELECT coalesce(max(examination), 0) AS newest FROM content;",
                    {.readOnly = true});
        newest = std::max(newest, rows.Long(0, "newest"));
    }
    return newest + 1;
}

std::vector<FileToRead> NextUnreadFiles(const CheckedPart& part, const FileToRead& after) {
    const std::string path = PathColumn(part.table);
    const DBResult_tag rows = Execute(
        part.table.instance,
        "SELECT id, " + path + " AS path FROM " + part.table.name + " AS media WHERE " +
            RowsSql(part) +
            (after.rowId == 0 ? ""
                              : " AND (" + path + ", id) > (" + Quote(after.path) + ", " +
                                    std::to_string(after.rowId) + ")") +
            " AND NOT EXISTS (SELECT 1 FROM content WHERE " + OfRowSql(part) + ") ORDER BY " +
            path + ", id LIMIT " + std::to_string(kRowsPerTransaction) + ";",
        {.readOnly = true});
    std::vector<FileToRead> files;
    files.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        files.push_back({rows.Long(row, "id"), rows.Text(row, "path"), {}, 0});
    }
    return files;
}

std::vector<FileToRead> NextFilesReadBefore(const CheckedPart& part, long examination,
                                            const FileToRead& after) {
    const DBResult_tag rows =
        Execute(part.table.instance,
                "SELECT media.id AS id, media." + PathColumn(part.table) +
                    " AS path, examination, sha256, content.size AS size, mtime_ns, taken_tm "
                    "FROM content JOIN " +
                    part.table.name + " AS media ON media.id = content.row_id WHERE " +
                    OfPartSql(part) + " AND " + RowsSql(part) +
                    Format(" AND examination < %ld AND (examination, row_id) > (%ld, %ld) "
                           "ORDER BY examination, row_id LIMIT %d;",
                           examination, after.examination, after.rowId, kRowsPerTransaction),
                {.readOnly = true});
    std::vector<FileToRead> files;
    for (int row = 0; row < rows.RowCount(); ++row) {
        FileToRead file = FileIn(rows, row);
        if (!files.empty() && file.examination != files.front().examination) {
            break;
        }
        files.push_back(std::move(file));
    }
    return files;
}

void RecordContents(const CheckedPart& part, const std::vector<FileToRead>& files,
                    long examination) {
    const long now = std::time(nullptr);
    std::string sql;
    for (const FileToRead& file : files) {
        sql += RecordSql(part, file, examination, now);
    }
    if (!sql.empty()) {
        Execute(part.table.instance, sql);
    }
}

UnreadRows RowsNotRead(const CheckedPart& part, long examination) {
    const DBResult_tag rows =
        Execute(part.table.instance,
                "SELECT count(*) AS count, min(examined_tm) AS oldest FROM " + part.table.name +
                    " AS media LEFT JOIN content ON " + OfRowSql(part) + " WHERE " + RowsSql(part) +
                    Format(" AND coalesce(examination, 0) < %ld;", examination),
                {.readOnly = true});
    UnreadRows unread{rows.Long(0, "count"), std::nullopt};
    if (rows.TextIfAny(0, "oldest")) {
        unread.oldestTm = rows.Long(0, "oldest");
    }
    return unread;
}

void ForgetContentsWithoutRow(const CheckedPart& part) {
    const std::string from = " FROM content WHERE " + OfPartSql(part) +
                             " AND row_id NOT IN (SELECT id FROM " + part.table.name +
                             ") AND row_id NOT IN (SELECT row_id FROM removed WHERE kind = '" +
                             part.table.name + "')";
    // Reads first, because a deletion waits for other writers even if it deletes nothing.
    const DBResult_tag rows =
        Execute(part.table.instance, "SELECT 1" + from + " LIMIT 1;", {.readOnly = true});
    if (rows.RowCount() > 0) {
        Execute(part.table.instance, "DELETE" + from + ";");
    }
}

} // namespace recorder
