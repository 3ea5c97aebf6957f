#include "recorder/run/unreadablefiles.h"

#include <map>
#include <set>
#include <utility>

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
    std::vector<Finding> noted;
    noted.swap(m_noted);
    if (noted.empty()) {
        return;
    }
    if (m_examination == 0) {
        m_examination = NewExamination();
    }
    for (Finding& finding : noted) {
        finding.run = run;
    }
    RecordFindings(noted, m_examination);
}

void UnreadableFiles::ResolveRepaired(const std::vector<RunPart>& finished) const {
    std::map<std::string, std::set<int>> cameras; // with findings, by kind
    for (const RunPart& part : finished) {
        if (!part.kind.empty() && !cameras.contains(part.kind)) {
            cameras[part.kind] = CamerasWithRetriedFindings(part.kind);
        }
        if (part.failures + part.refusals == 0 && cameras[part.kind].contains(part.camId)) {
            ResolveRetriedFindings(part.kind, part.camId, m_examination);
        }
    }
}

} // namespace recorder
