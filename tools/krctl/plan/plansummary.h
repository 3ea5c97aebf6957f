// The counts and problems of a plan, by kind and camera.

#pragma once

#include "tools/common/note.h"
#include "tools/common/texts.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

struct PlanPart {
    std::string kind;
    int camId = 0;
    long files = 0;                      // examined
    long rows = 0;                       // existing
    std::map<plan::Reason, long> counts; // items by reason

    [[nodiscard]] long Count(plan::Reason reason) const;
};

class PlanSummary {
public:
    void Add(const plan::Note& note);
    // The findings on record; nothing if they could not be read.
    void SetKnownFindings(std::optional<long> findings) { m_knownFindings = findings; }

    [[nodiscard]] const CameraNames& Cameras() const { return m_cameras; }
    // The parts in the order of the run.
    [[nodiscard]] const std::vector<PlanPart>& Parts() const { return m_parts; }
    [[nodiscard]] PlanPart Total() const;
    // Warnings, refusals and failures, without repetitions for a camera.
    [[nodiscard]] const std::vector<plan::Note>& Problems() const { return m_problems; }
    // Empty if no run is in progress. The note has the process id, 0 if it is unknown, or a text:
    // the reason why it could not be determined whether a run is in progress.
    [[nodiscard]] const std::optional<plan::Note>& RunInProgress() const { return m_runInProgress; }
    // The reason why there is no plan; empty if there is one.
    [[nodiscard]] const std::string& NoPlanReason() const { return m_noPlanReason; }

    // Returns true if all requested work could be planned.
    [[nodiscard]] bool IsComplete() const;
    // Returns true if a run would refuse to change something.
    [[nodiscard]] bool HasRefusals() const;
    // Returns true if a run would change something, according to the planned part.
    [[nodiscard]] bool HasChanges() const;
    [[nodiscard]] std::optional<long> KnownFindings() const { return m_knownFindings; }
    // The changes and the known findings in one sentence.
    [[nodiscard]] std::string Sentence() const;

private:
    PlanPart& PartOf(const plan::Note& note);
    void AddProblem(const plan::Note& note);

    CameraNames m_cameras;
    std::vector<PlanPart> m_parts;
    std::map<std::pair<std::string, int>, std::size_t> m_places; // indexes of m_parts
    std::vector<plan::Note> m_problems;
    std::optional<plan::Note> m_runInProgress;
    std::string m_noPlanReason;
    std::optional<long> m_knownFindings = 0;
};
