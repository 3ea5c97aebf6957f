#include "recorder/check/check.h"

#include "platform/utility.h"
#include "recorder/camera/cameratable.h"
#include "recorder/check/containercheck.h"
#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"

#include <functional>
#include <set>
#include <string_view>

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

// Fixes differences, and records the others as findings, in batches.
class Recording {
public:
    Recording(const CheckedPart& part, const CheckOptions& options, const TakeFinding& found)
        : m_part(part), m_options(options), m_found(found) {}

    void Add(const Difference& difference) {
        const FixResult fix =
            m_options.fix == nullptr ? FixResult() : m_options.fix->Apply(m_part, difference);
        const Finding finding = FindingOf(m_part, difference);
        m_found(finding, fix);
        if (fix.outcome == FixResult::Outcome::Fixed) {
            ++m_fixed;
            return;
        }
        ++m_count;
        m_batch.push_back(finding);
        if (m_batch.size() >= kFindingsOfTransaction) {
            Write();
        }
    }

    void Write() {
        if (!m_batch.empty()) {
            RecordFindings(m_batch, m_options.examination);
            m_batch.clear();
        }
    }

    [[nodiscard]] long Count() const { return m_count; }
    [[nodiscard]] long Fixed() const { return m_fixed; }

private:
    const CheckedPart& m_part;
    const CheckOptions& m_options;
    const TakeFinding& m_found;
    std::vector<Finding> m_batch;
    long m_count = 0;
    long m_fixed = 0;
};

bool OpensFiles(const CheckedPart& part, CheckLevel level) {
    return level == CheckLevel::Containers && HasContainers(part.table);
}

// The number of different paths.
long Count(const std::vector<std::string>& some, const std::vector<std::string>& others) {
    std::set<std::string_view> paths(some.begin(), some.end());
    paths.insert(others.begin(), others.end());
    return static_cast<long>(paths.size());
}

// Removes findings of these types that the check did not find again, except those of files that it
// could not examine.
void Resolve(const CheckedPart& part, const std::vector<FindingType>& types,
             const std::vector<std::string>& notExamined, long examination) {
    for (const std::string& path : notExamined) {
        KeepFindingsOf(part.table.name, part.camId, path, types, examination);
    }
    ResolveFindings(part.table.name, part.camId, types, examination);
}

// Removes the findings of runs about folders that the check listed. A folder that is gone is not
// unreadable, either.
void ResolveFolders(const CheckedPart& part, const CheckResult& names) {
    ResolveFolderFindings(part.table.name, part.camId, [&](const std::string& path) {
        const bool isBelow = HasCameras(part.table) && GetDirPath(path) == names.listed;
        return !names.listed.empty() && (isBelow || path == names.listed) &&
               !names.notListed.contains(path);
    });
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

long RowsWithoutPart(const MediaSelection& selection) {
    if (!selection.cameras.empty()) {
        return 0;
    }
    const std::vector<int> cameras = CamerasOf(selection);
    const std::string others =
        cameras.empty() ? "1 = 1" : "camera_id NOT IN (" + JoinIds(cameras, std::identity()) + ")";
    long rows = 0;
    for (const MediaTable& table : MediaTables()) {
        if (HasCameras(table) && selection.IncludesKind(table)) {
            rows += Execute(table.instance,
                            "SELECT count(*) AS rows FROM " + table.name + " WHERE " + others + ";",
                            {.readOnly = true})
                        .Long(0, "rows");
        }
    }
    return rows;
}

PartCheck CheckPart(const CheckedPart& part, const CheckOptions& options,
                    const TakeFinding& found) {
    Recording recording(part, options, found);
    const std::function<void(const Difference&)> add = [&](const Difference& difference) {
        recording.Add(difference);
    };
    ContainerCheck containers(part, add);
    TakeFile take;
    if (OpensFiles(part, options.level)) {
        take = [&](const MediaRow& row, const std::string& path, const struct stat64& status) {
            containers.Check(row, path, status);
        };
    }
    CheckResult names = CheckNames(part, options.startTm, add, take);
    recording.Write();
    PartCheck result{names.rows, recording.Count(), recording.Fixed(),
                     Count(names.beingWritten, containers.BeingWritten()),
                     std::move(names.problems)};
    result.problems.insert(result.problems.end(), containers.Problems().begin(),
                           containers.Problems().end());
    ResolveFolders(part, names);
    if (result.problems.empty()) {
        Resolve(part, NameFindings(), names.beingWritten, options.examination);
        if (OpensFiles(part, options.level)) {
            Resolve(part, ContainerFindings(), containers.BeingWritten(), options.examination);
        }
    }
    return result;
}

} // namespace recorder
