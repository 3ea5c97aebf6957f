#include "recorder/run/unreadablefiles.h"

#include "recorder/database/databases.h"

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

} // namespace

void UnreadableFiles::Note(const RunPart& part, const std::string& path, const std::string& why,
                           bool isFolder) {
    if (part.kind.empty()) {
        return; // the camera was not loaded: nothing of it was read
    }
    Finding& finding = m_noted.emplace_back();
    finding.kind = part.kind;
    finding.camId = part.camId;
    finding.path = isFolder ? path : RowPathOf(part.kind, path);
    finding.type = FindingType::Unreadable;
    finding.detail = why;
    finding.hasRow = !isFolder;
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
        if (part.kind.empty() || part.failures + part.refusals > 0) {
            continue;
        }
        if (!retried.contains(part.kind)) {
            retried[part.kind] = CamerasWithRetriedFindings(part.kind);
            RemoveVoidFindings(part.kind, ExistingCameras());
        }
        if (retried[part.kind].contains(part.camId)) {
            ResolveRetriedFindings(part.kind, part.camId, m_examination);
        }
    }
}

} // namespace recorder
