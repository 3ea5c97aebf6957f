// Notes the rows that a run would write to the databases instead of writing them.

#include "recorder/run/taps.h"

#include "recorder/database/databases.h"
#include "recorder/database/mediatable.h"
#include "recorder/database/sqltext.h"
#include "recorder/run/toolsql.h"
#include "recorder/support/error.h"
#include "tools/krplan/messages.h"
#include "tools/krplan/notebook.h"
#include "tools/krplan/statement.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

namespace recorder {

namespace {

using plan::Notebook;
using plan::Reason;

constexpr const char* kIdOfNoRow = "2147483647"; // the tool only passes it on

// The columns that identify a row of a table: the camera, if the table has it, and the path.
struct Key {
    bool hasCamera;
    std::string path;
};

Key KeyOf(const std::string& table) {
    for (const MediaTable& media : MediaTables()) {
        if (media.name == table) {
            const bool hasCamera = std::find(media.columns.begin(), media.columns.end(),
                                             "camera_id") != media.columns.end();
            return {hasCamera, hasCamera ? "path" : "filename"};
        }
    }
    throw Error("a plan does not support the table " + table);
}

int CameraOf(const plan::Insertion& insertion) {
    const auto camera = insertion.literals.find("camera_id");
    return camera == insertion.literals.end()
               ? 0
               : static_cast<int>(std::strtol(camera->second.c_str(), nullptr, 10));
}

const std::string& PathLiteralOf(const plan::Insertion& insertion, const Key& key) {
    const auto path = insertion.literals.find(key.path);
    if (path == insertion.literals.end()) {
        throw Error("a plan could not determine which row of " + insertion.table +
                    " would be added");
    }
    return path->second;
}

// Returns the ids, by path, of the rows that exist already among those that the statements would
// add. The tool's SQL texts are for one table and camera.
std::map<std::string, std::string> ExistingRows(KRDB::DB_INSTANCE instance,
                                                const std::vector<plan::Insertion>& insertions) {
    const plan::Insertion& first = insertions.front();
    const Key key = KeyOf(first.table);
    std::string paths;
    for (const plan::Insertion& insertion : insertions) {
        if (insertion.table != first.table || CameraOf(insertion) != CameraOf(first)) {
            throw Error(
                "a plan does not support rows of several tables or cameras in one statement");
        }
        paths += (paths.empty() ? "" : ", ") + PathLiteralOf(insertion, key);
    }
    const DBResult_tag rows =
        Execute(instance,
                "SELECT id, " + key.path + " FROM " + first.table + " WHERE " +
                    (key.hasCamera ? "camera_id = " + std::to_string(CameraOf(first)) + " AND "
                                   : std::string()) +
                    key.path + " IN (" + paths + ");",
                {.readOnly = true});
    std::map<std::string, std::string> there;
    for (int row = 0; row < rows.RowCount(); ++row) {
        there[rows.Text(row, key.path)] = rows.Text(row, "id");
    }
    return there;
}

// Returns the rows' ids, as the tool's INSERT does.
DBResult_tag NoteInsertions(KRDB::DB_INSTANCE instance, const std::string& sql) {
    std::vector<plan::Insertion> insertions;
    for (const std::string& statement : SplitStatements(sql)) {
        insertions.push_back(plan::ParseInsertion(statement));
    }
    const Key key = KeyOf(insertions.front().table);
    const std::map<std::string, std::string> there = ExistingRows(instance, insertions);
    DBResult_tag ids;
    ids.TakeColumns({"id"});
    for (const plan::Insertion& insertion : insertions) {
        const std::string path = plan::TextOfLiteral(PathLiteralOf(insertion, key));
        const auto row = there.find(path);
        const bool isThere = row != there.end();
        Notebook::OfThisProcess().AddRow(
            isThere ? Reason::RowRenewed : Reason::FileWithoutRow, insertion.table,
            CameraOf(insertion), path, isThere ? std::strtol(row->second.c_str(), nullptr, 10) : 0);
        ids.AppendField(isThere ? row->second : kIdOfNoRow);
    }
    return ids;
}

void NoteDeletion(KRDB::DB_INSTANCE instance, const Deletion& deletion) {
    const Key key = KeyOf(deletion.table);
    const DBResult_tag rows = Execute(
        instance,
        "SELECT id, " + key.path + (key.hasCamera ? ", camera_id" : ", 0") + " AS camera_id FROM " +
            deletion.table + " WHERE " + deletion.condition + " ORDER BY id;",
        {.readOnly = true});
    for (int row = 0; row < rows.RowCount(); ++row) {
        Notebook::OfThisProcess().AddRow(Reason::RowWithoutFile, deletion.table,
                                         rows.Int(row, "camera_id"), rows.Text(row, key.path),
                                         rows.Long(row, "id"));
    }
}

} // namespace

DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options) {
    if (sql.starts_with("INSERT ")) {
        return NoteInsertions(instance, sql);
    }
    if (const std::optional<Deletion> deletion = DeletionIn(sql)) {
        NoteDeletion(instance, *deletion);
        return {};
    }
    ExecuteOptions readOptions = options;
    readOptions.readOnly = true;
    return Execute(instance, sql, readOptions);
}

void BeginPart(const std::string& kind, int camId) {
    Notebook::OfThisProcess().BeginPart(kind, camId);
}

void TurnToCamera(int camId) {
    Notebook::OfThisProcess().TurnToCamera(camId);
}

void NoteKnownRows(long rows) {
    Notebook::OfThisProcess().NoteKnownRows(rows);
}

// A plan adds no rows, so that the rows can be counted at any time.
long KnownRows(const std::string& /*kind*/, const std::string& /*camera*/) {
    return 0;
}

void NoteRefusal(const std::string& why) {
    plan::NoteRefused(why);
}

// krplan reports failures by their messages.
void NoteUnreadable(const std::string& /*path*/, const std::string& /*why*/, Unreadable /*what*/) {}

void NoteListed(const std::string& /*folder*/) {}

void CountFile(int folder) {
    Notebook::OfThisProcess().CountFile(folder);
}

} // namespace recorder
