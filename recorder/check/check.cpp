#include "recorder/check/check.h"

#include "recorder/camera/cameratable.h"
#include "recorder/check/containercheck.h"

namespace recorder {

namespace {

constexpr std::size_t kFindingsOfTransaction = 1000;

std::vector<int> CamerasOf(const MediaSelection& selection) {
    if (!selection.cameras.empty()) {
        return selection.cameras;
    }
    std::vector<int> ids;
    for (const CameraRow& camera : ListCameras()) {
        if (camera.dsId == 0) {
            ids.push_back(camera.id);
        }
    }
    return ids;
}

// Records findings in batches.
class Recording {
public:
    Recording(const CheckedPart& part, long examination,
              const std::function<void(const Finding&)>& found)
        : m_part(part), m_examination(examination), m_found(found) {}

    void Add(const Difference& difference) {
        ++m_count;
        m_found(m_batch.emplace_back(FindingOf(m_part, difference)));
        if (m_batch.size() >= kFindingsOfTransaction) {
            Write();
        }
    }

    void Write() {
        if (!m_batch.empty()) {
            RecordFindings(m_batch, m_examination);
            m_batch.clear();
        }
    }

    [[nodiscard]] long Count() const { return m_count; }

private:
    const CheckedPart& m_part;
    long m_examination;
    const std::function<void(const Finding&)>& m_found;
    std::vector<Finding> m_batch;
    long m_count = 0;
};

bool OpensFiles(const CheckedPart& part, CheckLevel level) {
    return level == CheckLevel::Containers && HasContainers(part.table);
}

} // namespace

std::vector<CheckedPart> PartsOf(const MediaSelection& selection) {
    std::vector<CheckedPart> parts;
    for (const MediaTable& table : MediaTables()) {
        if (!selection.IncludesKind(table)) {
            continue;
        }
        if (!HasCameras(table)) {
            parts.push_back({table, 0});
            continue;
        }
        for (const int id : CamerasOf(selection)) {
            parts.push_back({table, id});
        }
    }
    return parts;
}

PartCheck CheckPart(const CheckedPart& part, CheckLevel level, long startTm, long examination,
                    const std::function<void(const Finding&)>& found) {
    Recording recording(part, examination, found);
    const std::function<void(const Difference&)> add = [&](const Difference& difference) {
        recording.Add(difference);
    };
    ContainerCheck containers(part, add);
    TakeFile take;
    if (OpensFiles(part, level)) {
        take = [&](const MediaRow& row, const std::string& path, const struct stat64& status) {
            containers.Check(row, path, status);
        };
    }
    CheckResult names = CheckNames(part, startTm, add, take);
    recording.Write();
    PartCheck result{names.rows, recording.Count(), names.beingWritten, std::move(names.problems)};
    result.problems.insert(result.problems.end(), containers.Problems().begin(),
                           containers.Problems().end());
    if (result.problems.empty() && result.beingWritten == 0) {
        ResolveFindings(part.table.name, part.camId, NameFindings(), examination);
        if (OpensFiles(part, level)) {
            ResolveFindings(part.table.name, part.camId, ContainerFindings(), examination);
        }
    }
    return result;
}

} // namespace recorder
