#include "recorder/finding/finding.h"

#include "recorder/database/databases.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>
#include <map>
#include <numeric>
#include <span>

namespace recorder {

namespace {

struct TypeName {
    FindingType type;
    const char* name;
};

constexpr std::array kTypeNames{
    TypeName{FindingType::Missing, "missing"},
    TypeName{FindingType::Moved, "moved"},
    TypeName{FindingType::Size, "size"},
    TypeName{FindingType::NotAFile, "not-a-file"},
    TypeName{FindingType::TwoFolders, "two-folders"},
    TypeName{FindingType::Unreadable, "unreadable"},
    TypeName{FindingType::Length, "length"},
    TypeName{FindingType::Codec, "codec"},
    TypeName{FindingType::Changed, "changed"},
    TypeName{FindingType::Rot, "rot"},
    TypeName{FindingType::ReadError, "read-error"},
};

// A finding of a type that this version doesn't know is shown as one of a file that can't be read.
FindingType TypeOf(const std::string& name) {
    return FindingTypeOf(name).value_or(FindingType::Unreadable);
}

// The condition for findings whose row exists, or that need none.
std::string IsValidSql(const MediaTable& table) {
    const std::string sameRow = HasCameras(table)
                                    ? table.name + ".camera_id = finding.camera_id AND " +
                                          table.name + ".path = finding.path"
                                    : table.name + ".filename = finding.path";
    return "(finding.has_row = 0 OR EXISTS (SELECT 1 FROM " + table.name + " WHERE " + sameRow +
           "))";
}

// The condition for the findings of a kind that the selection includes.
std::string SelectedSql(const MediaTable& table, const MediaSelection& selection) {
    return "finding.kind = '" + table.name + "' AND " + selection.RowsSql(table);
}

std::string NamesSql(const std::vector<FindingType>& types) {
    std::string names;
    for (const FindingType type : types) {
        names += (names.empty() ? "" : ", ") + Quote(NameOf(type));
    }
    return names.empty() ? "NULL" : names;
}

// The condition for findings of one file.
std::string OfFileSql(const std::string& kind, int camId, const std::string& path,
                      const std::vector<FindingType>& types) {
    return Format("kind = %s AND camera_id = %d AND path = %s AND what IN (%s)",
                  Quote(kind).c_str(), camId, Quote(path).c_str(), NamesSql(types).c_str());
}

// The condition for the findings of runs about what every run tries again.
std::string IsRetriedSql(const std::string& kind) {
    return "kind = " + Quote(kind) + " AND what = '" + NameOf(FindingType::Unreadable) +
           "' AND run <> 0" + (HasCameras(MediaTableOf(kind)) ? " AND has_row = 0" : "");
}

std::string RecordSql(const Finding& finding, long examination, long now) {
    return Format("INSERT INTO finding (kind, camera_id, path, what, detail, has_row, first_tm, "
                  "last_tm, run, examination) VALUES (%s, %d, %s, '%s', %s, %d, %ld, %ld, %ld, "
                  "%ld) ON CONFLICT (kind, camera_id, path, what) DO UPDATE SET "
                  "detail = excluded.detail, has_row = excluded.has_row, "
                  "last_tm = excluded.last_tm, run = excluded.run, "
                  "examination = excluded.examination;",
                  Quote(finding.kind).c_str(), finding.camId, Quote(finding.path).c_str(),
                  NameOf(finding.type), Quote(finding.detail).c_str(), finding.hasRow ? 1 : 0, now,
                  now, finding.run, examination);
}

// Calls `take` with each media table that the selection includes.
template <typename Take> void ForEachTable(const MediaSelection& selection, const Take& take) {
    for (const MediaTable& table : MediaTables()) {
        if (selection.IncludesKind(table)) {
            take(table);
        }
    }
}

Finding FindingIn(const DBResult_tag& rows, int row) {
    return {.kind = rows.Text(row, "kind"),
            .camId = rows.Int(row, "camera_id"),
            .path = rows.Text(row, "path"),
            .type = TypeOf(rows.Text(row, "what")),
            .detail = rows.Text(row, "detail"),
            .hasRow = rows.Int(row, "has_row") != 0,
            .firstTm = rows.Long(row, "first_tm"),
            .lastTm = rows.Long(row, "last_tm"),
            .run = rows.Long(row, "run")};
}

// Calls `take` with the findings of a kind and camera that fulfil the SQL condition.
void ForEachFindingOf(const MediaTable& table, int camId, const std::string& condition,
                      const std::function<void(const Finding&)>& take) {
    std::string after;
    for (;;) {
        const DBResult_tag rows = Execute(
            table.instance,
            Format("SELECT kind, camera_id, path, what, detail, has_row, first_tm, last_tm, run "
                   "FROM finding WHERE finding.kind = '%s' AND finding.camera_id = %d AND ",
                   table.name.c_str(), camId) +
                condition + after + " AND " + IsValidSql(table) + " ORDER BY path, what LIMIT " +
                std::to_string(kRowsPerTransaction) + ";",
            {.readOnly = true});
        if (rows.RowCount() == 0) {
            return;
        }
        for (int row = 0; row < rows.RowCount(); ++row) {
            take(FindingIn(rows, row));
        }
        const int last = rows.RowCount() - 1;
        after = " AND (path, what) > (" + Quote(rows.Text(last, "path")) + ", " +
                Quote(rows.Text(last, "what")) + ")";
    }
}

// Calls `take` with the findings of the selection that fulfil the SQL condition. Goes from camera
// to camera: only then does an index lead to the next page.
void ForEachFindingWhere(const MediaSelection& selection, const std::string& condition,
                         const std::function<void(const Finding&)>& take) {
    ForEachTable(selection, [&](const MediaTable& table) {
        const DBResult_tag cameras =
            Execute(table.instance,
                    "SELECT DISTINCT camera_id FROM finding WHERE " +
                        SelectedSql(table, selection) + " ORDER BY camera_id;",
                    {.readOnly = true});
        for (int row = 0; row < cameras.RowCount(); ++row) {
            ForEachFindingOf(table, cameras.Int(row, "camera_id"), condition, take);
        }
    });
}

std::vector<Finding> FindingsWhere(const MediaSelection& selection, const std::string& condition) {
    std::vector<Finding> findings;
    ForEachFindingWhere(selection, condition,
                        [&](const Finding& finding) { findings.push_back(finding); });
    return findings;
}

} // namespace

const char* NameOf(FindingType type) {
    const auto* const found =
        std::find_if(kTypeNames.begin(), kTypeNames.end(),
                     [&](const TypeName& entry) { return entry.type == type; });
    return found->name;
}

std::optional<FindingType> FindingTypeOf(const std::string& name) {
    const auto* const found =
        std::find_if(kTypeNames.begin(), kTypeNames.end(),
                     [&](const TypeName& entry) { return entry.name == name; });
    return found == kTypeNames.end() ? std::nullopt : std::optional(found->type);
}

long NewExamination() {
    long newest = 0;
    for (const MediaTable& table : MediaTables()) {
        const DBResult_tag rows =
            Execute(table.instance, "SELECT coalesce(max(examination), 0) AS newest FROM finding;",
                    {.readOnly = true});
        newest = std::max(newest, rows.Long(0, "newest"));
    }
    return newest + 1;
}

void RecordFindings(const std::vector<Finding>& findings, long examination) {
    const long now = std::time(nullptr);
    for (std::size_t first = 0; first < findings.size(); first += kRowsPerTransaction) {
        std::map<KRDB::DB_INSTANCE, std::string> statements;
        for (const Finding& finding : std::span(findings).subspan(
                 first, std::min<std::size_t>(kRowsPerTransaction, findings.size() - first))) {
            statements[MediaTableOf(finding.kind).instance] += RecordSql(finding, examination, now);
        }
        for (const auto& [instance, sql] : statements) {
            Execute(instance, sql);
        }
    }
}

void ResolveFindings(const std::string& kind, int camId, const std::vector<FindingType>& types,
                     long examination) {
    Execute(MediaTableOf(kind).instance,
            Format("DELETE FROM finding WHERE kind = %s AND camera_id = %d AND what IN (%s) "
                   "AND examination <> %ld;",
                   Quote(kind).c_str(), camId, NamesSql(types).c_str(), examination));
}

void KeepFindingsOf(const std::string& kind, int camId, const std::string& path,
                    const std::vector<FindingType>& types, long examination) {
    Execute(MediaTableOf(kind).instance,
            Format("UPDATE finding SET examination = %ld WHERE ", examination) +
                OfFileSql(kind, camId, path, types) + ";");
}

void ResolveFindingsOf(const std::string& kind, int camId, const std::string& path,
                       const std::vector<FindingType>& types) {
    Execute(MediaTableOf(kind).instance,
            "DELETE FROM finding WHERE " + OfFileSql(kind, camId, path, types) + ";");
}

std::set<int> CamerasWithRetriedFindings(const std::string& kind) {
    const DBResult_tag rows =
        Execute(MediaTableOf(kind).instance,
                "SELECT DISTINCT camera_id FROM finding WHERE " + IsRetriedSql(kind) + ";",
                {.readOnly = true});
    std::set<int> cameras;
    for (int row = 0; row < rows.RowCount(); ++row) {
        cameras.insert(rows.Int(row, "camera_id"));
    }
    return cameras;
}

void ResolveRetriedFindings(const std::string& kind, int camId, long examination) {
    Execute(MediaTableOf(kind).instance,
            "DELETE FROM finding WHERE " + IsRetriedSql(kind) +
                Format(" AND camera_id = %d AND examination <> %ld;", camId, examination));
}

void ResolveFolderFindings(const std::string& kind, int camId,
                           const std::function<bool(const std::string& path)>& isListed) {
    const DBResult_tag rows =
        Execute(MediaTableOf(kind).instance,
                "SELECT path FROM finding WHERE " + IsRetriedSql(kind) +
                    Format(" AND has_row = 0 AND camera_id = %d ORDER BY path;", camId),
                {.readOnly = true});
    for (int row = 0; row < rows.RowCount(); ++row) {
        const std::string path = rows.Text(row, "path");
        if (isListed(path)) {
            ResolveFindingsOf(kind, camId, path, {FindingType::Unreadable});
        }
    }
}

void RemoveVoidFindings(const std::string& kind, const std::vector<int>& cameras) {
    const MediaTable& table = MediaTableOf(kind);
    std::string condition = "NOT " + IsValidSql(table);
    if (HasCameras(table) && !cameras.empty()) {
        condition +=
            " OR has_row = 0 AND camera_id NOT IN (" + JoinIds(cameras, std::identity()) + ")";
    }
    const std::string from =
        " FROM finding WHERE kind = " + Quote(kind) + " AND (" + condition + ")";
    // Reads first, because a deletion waits for other writers even if it deletes nothing.
    const DBResult_tag rows =
        Execute(table.instance, "SELECT 1" + from + " LIMIT 1;", {.readOnly = true});
    if (rows.RowCount() > 0) {
        Execute(table.instance, "DELETE" + from + ";");
    }
}

void ForEachFinding(const MediaSelection& selection,
                    const std::function<void(const Finding&)>& take) {
    ForEachFindingWhere(selection, "1 = 1", take);
}

std::vector<Finding> ListFindings(const MediaSelection& selection) {
    return FindingsWhere(selection, "1 = 1");
}

std::vector<Finding> FindingsOfRun(long run) {
    return FindingsWhere({}, "run = " + std::to_string(run));
}

std::vector<FindingCount> CountFindings(const MediaSelection& selection) {
    std::vector<FindingCount> counts;
    ForEachTable(selection, [&](const MediaTable& table) {
        const DBResult_tag rows =
            Execute(table.instance,
                    "SELECT camera_id, what, count(*) AS count FROM finding WHERE " +
                        SelectedSql(table, selection) + " AND " + IsValidSql(table) +
                        " GROUP BY camera_id, what ORDER BY camera_id, what;",
                    {.readOnly = true});
        for (int row = 0; row < rows.RowCount(); ++row) {
            counts.push_back({table.name, rows.Int(row, "camera_id"),
                              TypeOf(rows.Text(row, "what")), rows.Long(row, "count")});
        }
    });
    return counts;
}

long FindingsOnRecord(const MediaSelection& selection) {
    const std::vector<FindingCount> counts = CountFindings(selection);
    return std::accumulate(counts.begin(), counts.end(), 0L,
                           [](long sum, const FindingCount& count) { return sum + count.count; });
}

} // namespace recorder
