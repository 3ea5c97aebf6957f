// A plan in numbers, by kind and camera.

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
    long files = 0;                      // looked at
    long rows = 0;                       // that there are
    std::map<plan::Reason, long> counts; // of items

    [[nodiscard]] long Count(plan::Reason reason) const;
};

class PlanSummary {
public:
    void Add(const plan::Note& note);

    [[nodiscard]] const CameraNames& Cameras() const { return m_cameras; }
    // In the order of the run.
    [[nodiscard]] const std::vector<PlanPart>& Parts() const { return m_parts; }
    [[nodiscard]] PlanPart Total() const;
    // Warnings, refusals and failures; of those that say the same of a camera the first.
    [[nodiscard]] const std::vector<plan::Note>& Problems() const { return m_problems; }
    // The note of a run in progress: the number of its process, 0 where it isn't known; or the text
    // that says why it could not be told whether there is one. Nothing: there is none.
    [[nodiscard]] const std::optional<plan::Note>& RunInProgress() const { return m_runInProgress; }
    // Why there is no plan; empty when there is one.
    [[nodiscard]] const std::string& WhyNone() const { return m_whyNone; }

    // Whether all that was asked for could be planned.
    [[nodiscard]] bool IsComplete() const;
    // Whether krindexer would change something, as far as that could be planned.
    [[nodiscard]] bool HasChanges() const;
    // What it would change, in one sentence.
    [[nodiscard]] std::string Sentence() const;

private:
    PlanPart& PartOf(const plan::Note& note);
    void AddProblem(const plan::Note& note);

    CameraNames m_cameras;
    std::vector<PlanPart> m_parts;
    std::map<std::pair<std::string, int>, std::size_t> m_places; // in m_parts
    std::vector<plan::Note> m_problems;
    std::optional<plan::Note> m_runInProgress;
    std::string m_whyNone;
};
