#include "recorder/run/unreadablefiles.h"

#include "recorder/database/databases.h"
#include "recorder/support/medianames.h"

#include <map>
#include <set>

namespace recorder {

namespace {

// The last components of a path: two for a recording in its half-day folder, else one.
std::string RowPathOf(const std::string& kind, const std::string& path) {
    const std::size_t nameAt = path.rfind('/');
    const std::size_t folderAt =
        HasCameras(MediaTableOf(kind)) && nameAt != std::string::npos && nameAt > 0
            ? path.rfind('/', nameAt - 1)
            : nameAt;
    return folderAt == std::string::npos ? path : path.substr(folderAt + 1);
}

// The camera table is read here, because the layer of cameras is above this one.
std::vector<int> ExistingCameras() {
    const DBResult_tag rows =
        Execute(KRDB::DB_SYSTEM, "SELECT id FROM camera;", {.readOnly = true});
    std::vector<int> ids;
    ids.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        ids.push_back(rows.Int(row, "id"));
    }
    return ids;
}

// The kind of a part that has none yet, because the camera's folders are listed before the rows are
// read. `path` is the folder of its half-day folders.
std::string KindOfStorage(const std::string& path) {
    return path.ends_with("/" + std::string(kAlertRecordingDirName)) ? gszTableAlertEvent
                                                                     : gszTableEvent;
}

bool HasFailed(const RunPart& part) {
    return part.failures + part.refusals > 0;
}

} // namespace

void UnreadableFiles::Note(const RunPart& part, const std::string& path, const std::string& why,
                           Unreadable what) {
    Finding& finding = m_noted.emplace_back();
    finding.kind = part.kind.empty() ? KindOfStorage(path) : part.kind;
    finding.camId = part.camId;
    finding.path = what == Unreadable::InWalk ? path : RowPathOf(finding.kind, path);
    finding.type = FindingType::Unreadable;
    finding.detail = why;
    finding.hasRow = what == Unreadable::File;
}

void UnreadableFiles::EndPart(const RunPart& ended, bool hasLoadedRows) {
    if (HasFailed(ended) && hasLoadedRows) {
        m_listed.merge(m_listedInPart);
    }
    m_listedInPart.clear();
}

void UnreadableFiles::Record(long run) {
    if (m_noted.empty()) {
        return;
    }
    if (m_examination == 0) {
        m_examination = NewExamination();
    }
    for (Finding& finding : m_noted) {
        finding.run = run;
    }
    RecordFindings(m_noted, m_examination);
    m_noted.clear();
}

void UnreadableFiles::ResolveRepaired(const std::vector<RunPart>& finished) const {
    std::map<std::string, std::set<int>> retried; // cameras, by kind
    for (const RunPart& part : finished) {
        if (part.kind.empty() || (HasFailed(part) && m_listed.empty())) {
            continue;
        }
        if (!retried.contains(part.kind)) {
            retried[part.kind] = CamerasWithRetriedFindings(part.kind);
            RemoveVoidFindings(part.kind, ExistingCameras());
        }
        if (!retried[part.kind].contains(part.camId)) {
            continue;
        }
        if (HasFailed(part)) {
            ResolveFolderFindings(part.kind, part.camId, [&](const std::string& folder) {
                return m_listed.contains(folder);
            });
        } else {
            ResolveRetriedFindings(part.kind, part.camId, m_examination);
        }
    }
}

} // namespace recorder
